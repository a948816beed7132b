#pragma once

// The batch as the main window shows it, top to bottom: toolbar (Add Files, Remove,
// Target LUFS), file table over waveform, transport bar, export controls,
// the progress strip while exporting, and the status line. It takes dropped
// files, removes the selected one with Ctrl+Backspace or Ctrl+Delete, and
// keeps selection and target in step with playback.

#include "playback/AudioPlaybackEngine.h"
#include "session/BatchSession.h"
#include "session/ExportSession.h"
#include "ui/Dialogs.h"
#include "ui/EditHistory.h"
#include "ui/PlaybackController.h"
#include "ui/Selection.h"
#include "ui/StatusLine.h"

#include <QWidget>
#include <memory>

class QComboBox;
class QDoubleSpinBox;
class QFrame;
class QLabel;
class QLayout;
class QMimeData;
class QProgressBar;
class QPushButton;
class QSplitter;
class QStackedWidget;
class ExportControlsView;
class QUndoStack;
class WaveformView;

class BatchView : public QWidget {
    Q_OBJECT

public:
    // `output`: where playback sounds (null: the default output).
    BatchView(BatchSession& state, ExportSession& session, QUndoStack* undo, Dialogs dialogs,
              std::unique_ptr<AudioOutput> output = nullptr, QWidget* parent = nullptr);

    static QString editModeHelpLine();

    AudioPlaybackEngine& engine() { return *engine_; }
    StatusLine& statusLine() { return statusLine_; }
    // Adds files named on the command line; those left out are named in the
    // status line.
    void addPaths(const QStringList& paths);
    // "Not added: ..." in the status line, when anything was left out.
    void showNotAdded(const std::vector<BatchSession::SkippedFile>& skipped);
    PlaybackController& playback() { return *controller_; }
    EditHistory& history() { return *history_; }
    ExportControlsView& exportControls() { return *exportControls_; }

    // The commands the menus offer, with their shortcuts, which work in the
    // window with or without a menu.
    struct Commands {
        QList<QAction*> file;     // Save Settings, Load Settings, Export All
        QList<QAction*> edit;     // Remove File, Edit Segments, Album Mode
        QList<QAction*> playback; // Play/Pause, Stop
    };
    const Commands& commands() const { return commands_; }

    void addFiles();
    void addFolder();
    // What a drop of `mime` does: its local file URLs, in order, to addFiles.
    void handleDrop(const QMimeData& mime);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    QLayout* buildToolbar();
    QSplitter* buildTableAndWaveform();
    QFrame* buildProgressStrip();
    QLabel* buildStatusLine();
    void connectActions();
    void onSelectionChanged();
    void refreshStatus();
    void refreshWaveformArea();
    void refreshProgress();
    void refreshToolbar();

    BatchSession& state_;
    Selection& selection_ = Selection::of(state_);
    ExportSession& session_;
    Dialogs dialogs_;
    StatusLine statusLine_;
    std::unique_ptr<AudioPlaybackEngine> engine_;
    std::unique_ptr<PlaybackController> controller_;
    std::unique_ptr<EditHistory> history_;
    ExportControlsView* exportControls_;
    QPushButton* add_;
    QPushButton* remove_;
    QAction* removeAction_;
    QAction* editAction_;
    Commands commands_;
    QDoubleSpinBox* target_;
    QComboBox* preset_;
    QComboBox* channelMix_;
    QComboBox* normalizeBy_;
    QStackedWidget* waveformArea_;
    QLabel* noSelection_;
    WaveformView* waveform_;
    QWidget* waveformPage_;
    QFrame* progress_;
    QLabel* progressText_;
    QLabel* progressPercent_;
    QProgressBar* progressBar_;
    QLabel* status_;
};
