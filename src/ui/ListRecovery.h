#pragma once

// The working list kept on disk while the window is open, so that a crash,
// a kill or a power cut loses neither the list nor its edits: in the XDG
// state folder, as a settings file, written whole beside and then renamed,
// on the main thread, at most every few seconds and only when it changed.
// A window that closes normally removes it; one that did not leaves it for
// the next start to offer back.

#include "session/BatchSession.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QTimer>
#include <optional>

class ListRecovery : public QObject {
    Q_OBJECT

public:
    ListRecovery(BatchSession& state, QString path, QObject* parent = nullptr);

    // $XDG_STATE_HOME/sonivel/working-list.json, else under ~/.local/state.
    static QString defaultPath();
    // How many files the list left at `path` holds; none without one.
    static std::optional<size_t> leftAt(const QString& path);

    // Writes the list if it changed since it was last written (an empty
    // list removes the file).
    void keep();
    // The window closed normally: the file goes, and nothing more is written.
    void discard();

private:
    BatchSession& state_;
    QString path_;
    QTimer timer_;
    QByteArray written_;
};
