#pragma once

// The desktop application for the whole run: the application state, the
// update checker and the one main window, with "Check for Updates..." after
// About in the Help menu. At start the window shows, the first launch gets
// the introduction, the second asks about automatic update checks, and the
// files given are added.

#include "app/update/UpdaterManager.h"
#include "list/AppState.h"
#include "ui/MainWindow.h"

#include <QAction>

class SonivelApp {
public:
    SonivelApp();

    AppState& appState() { return appState_; }
    MainWindow& window() { return window_; }

    void start(const QStringList& files);

private:
    void showCheckResult(const UpdateCheck& result);

    AppState appState_;
    UpdaterManager updaterManager_;
    MainWindow window_;
    QAction checkForUpdates_;
};
