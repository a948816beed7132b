#pragma once

// The desktop application for the whole run: the application state, the
// update checker and the one main window, with "Check for Updates..." after
// About in the Help menu. At start the window shows as it was left, a
// list left by a window that did not close normally is offered back, the
// first launch gets the introduction, the second asks about automatic
// update checks, and the request is carried out: its files added, then the
// file chooser or an export as last time when it asks for one. Requests
// that later starts hand over are carried out the same way, and the window
// comes to the front. Files are measured through the user's analysis cache,
// which File > "Clear analysis cache" empties.

#include "app/SingleInstance.h"
#include "app/update/UpdaterManager.h"
#include "session/BatchSession.h"
#include "ui/BatchView.h"
#include "ui/MainWindow.h"
#include "ui/TaggingAction.h"

#include <QAction>

class SonivelApp {
public:
    SonivelApp();

    BatchSession& session() { return session_; }
    MainWindow& window() { return window_; }

    // `interactive`: a user's window, which takes the files of later starts
    // and may show the introduction and the update question; a one-off
    // window (a screenshot, a test) does neither.
    void start(const LaunchRequest& request, bool interactive = true);

private:
    void perform(const LaunchRequest& request);
    void showCheckResult(const UpdateCheck& result);

    AnalysisCache cache_{AnalysisCache::defaultFile()}; // outlives the session's analyses
    BatchSession session_{BatchSession::throughCache(cache_)};
    UpdaterManager updaterManager_;
    MainWindow window_;
    QAction checkForUpdates_;
    QAction clearCache_;
    TaggingAction tagging_{session_, window_.batch()->statusLine(), cache_, &window_};
    InstanceServer instanceServer_;
};
