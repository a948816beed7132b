#pragma once

// File ▸ Write ReplayGain Tags...: after asking, writes the loudness tags of
// every measured file into the file itself (with its album's in album mode),
// on a thread of its own, and says on the status line what it did. The
// files' audio stays as it is.

#include "analysis/AnalysisCache.h"
#include "session/BatchSession.h"
#include "ui/StatusLine.h"

#include <QAction>
#include <QObject>
#include <functional>
#include <thread>

class TaggingAction : public QObject {
    Q_OBJECT

public:
    TaggingAction(BatchSession& state, StatusLine& status, AnalysisCache& cache, QWidget* window);
    // Stops between files and waits for the one being tagged.
    ~TaggingAction() override;

    QAction* action() { return &action_; }
    // Asks whether to tag `count` files; replaceable for tests.
    std::function<bool(QWidget* window, int count)> confirm;

signals:
    void finished();

private:
    void start();

    BatchSession& state_;
    StatusLine& status_;
    AnalysisCache& cache_;
    QWidget* window_;
    QAction action_;
    std::jthread worker_;
};
