#pragma once

// The transport bar: Play/Pause (Space), Stop (Escape), the time read-out
// and the output device picker.

#include "ui/PlaybackController.h"
#include "ui/Selection.h"

#include <QWidget>

class QAction;
class QComboBox;
class QLabel;
class QPushButton;

class PlaybackControlsView : public QWidget {
    Q_OBJECT

public:
    PlaybackControlsView(BatchSession& state, AudioPlaybackEngine& engine, PlaybackController& controller,
                         QWidget* parent = nullptr);

    void refreshDevices();
    // The menu's commands for the buttons: Play/Pause (Space) and Stop
    // (Escape), anywhere in the window.
    QList<QAction*> commands() const { return {playAction_, stopAction_}; }

private:
    void refresh();

    BatchSession& state_;
    Selection& selection_ = Selection::of(state_);
    AudioPlaybackEngine& engine_;
    PlaybackController& controller_;
    QPushButton* play_;
    QPushButton* stop_;
    QLabel* time_;
    QComboBox* devices_;
    QAction* playAction_;
    QAction* stopAction_;
};
