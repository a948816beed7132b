#pragma once

// The application's one window: the batch view with File, Edit (undo and
// redo with their action names) and Help menus (About, the introduction),
// 1200 x 700 by default and never smaller than 900 x 600.

#include "playback/AudioOutput.h"
#include "session/BatchSession.h"
#include "session/ExportSession.h"
#include "ui/Dialogs.h"

#include <QMainWindow>
#include <QUndoStack>
#include <memory>
#include <optional>

class BatchView;
class ListRecovery;
class SleepInhibitor;
class QAction;
class QMenu;

class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    MainWindow(BatchSession& state, Dialogs dialogs = Dialogs::standard(),
               std::unique_ptr<AudioOutput> output = nullptr, QWidget* parent = nullptr);
    ~MainWindow() override;

    BatchView* batch() const { return batch_; }
    // The export of this window's list: its choices and its runs.
    ExportSession& exportSession() { return exports_; }
    QUndoStack& undoStack() { return undo_; }
    void showAbout();
    // A command of the application's own, in the File menu above Quit.
    void addFileCommand(QAction* command);
    // A command of the application's own, in the Help menu after About.
    void addCommandAfterAbout(QAction* command);
    // The introduction over the window (one at a time).
    void showOnboarding();

    // On the first launch only: remembers it was seen and shows the wizard.
    void showOnFirstLaunch();
    // Keeps the working list at `path` from now on (see ListRecovery),
    // after offering back a list that a window which did not close
    // normally left there; taking it is a step that undo takes back.
    void keepListAt(const QString& path);

protected:
    // While an export runs, asks; a yes cancels it and closes once it ended.
    // With edits not saved, asks whether to save them first.
    void closeEvent(QCloseEvent* event) override;

private:
    BatchSession& state_;
    Dialogs dialogs_;
    bool closeAfterExport_ = false;
    std::optional<double> taskbarShare_; // what the taskbar entry shows
    ExportSession exports_;
    QUndoStack undo_;
    BatchView* batch_;
    QAction* beforeQuit_ = nullptr; // the File menu's separator above Quit
    QMenu* help_;
    std::unique_ptr<ListRecovery> recovery_;
    std::unique_ptr<SleepInhibitor> sleepInhibitor_; // while an export runs
};
