#pragma once

// The transport bar: Play/Pause (Space), Stop (Escape), the time read-out
// and the output device picker.

#include "ui/PlaybackController.h"

#include <QWidget>

class QComboBox;
class QLabel;
class QPushButton;

class PlaybackControlsView : public QWidget {
    Q_OBJECT

public:
    PlaybackControlsView(AppState& state, AudioPlaybackEngine& engine, PlaybackController& controller,
                         QWidget* parent = nullptr);

    void refreshDevices();

private:
    void refresh();

    AppState& state_;
    AudioPlaybackEngine& engine_;
    PlaybackController& controller_;
    QPushButton* play_;
    QPushButton* stop_;
    QLabel* time_;
    QComboBox* devices_;
};
