#pragma once

// The working list kept on disk while the window is open, so that a crash,
// a kill or a power cut loses neither the list nor its edits: in the XDG
// state folder, as a settings file, written whole beside and then renamed,
// at most every few seconds and only when it changed. The main thread only
// takes a copy of the list's settings; a thread of its own encodes and
// writes them (a library's list takes tens of milliseconds to encode).
// A window that closes normally removes it; one that did not leaves it for
// the next start to offer back.

#include "session/BatchSession.h"
#include "session/SettingsFile.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QTimer>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>

class ListRecovery : public QObject {
    Q_OBJECT

public:
    ListRecovery(BatchSession& state, QString path, QObject* parent = nullptr);

    // $XDG_STATE_HOME/sonivel/working-list.json, else under ~/.local/state.
    static QString defaultPath();
    // How many files the list left at `path` holds; none without one.
    static std::optional<size_t> leftAt(const QString& path);

    ~ListRecovery() override;

    // Has the list written if it changed since it was last written (an
    // empty list removes the file).
    void keep();
    // The window closed normally: the file goes, once a write under way has
    // ended, and nothing more is written.
    void discard();

private:
    void write(std::stop_token stop);

    BatchSession& state_;
    QString path_;
    QTimer timer_;
    std::mutex mutex_; // guards `next_` and `discarded_`
    std::condition_variable wake_;
    std::optional<SettingsData> next_; // the latest copy, not written yet
    bool discarded_ = false;
    std::mutex writing_; // held while the file is written or removed
    QByteArray written_; // the writer's own
    std::jthread writer_;
};
