#pragma once

// What the transport bar and the main window do with the engine: play/pause,
// jumping to each newly selected file's loudest 20 seconds while playing,
// carrying a changed correction into the running playback, and the playhead
// and time texts the views show.

#include "playback/AudioDeviceManager.h"
#include "playback/AudioPlaybackEngine.h"
#include "session/BatchSession.h"
#include "ui/Selection.h"

class PlaybackController {
public:
    PlaybackController(BatchSession& state, AudioPlaybackEngine& engine);

    // A selected file with an analysis.
    bool canPlay() const;
    void togglePlay();
    void onSelectionChanged();
    void updateLiveGain();
    // The engine's time while playing or paused; otherwise it, when above 0,
    // else -1 (no playhead).
    double displayPlayheadTime() const;
    // "0:05.0 / 3:20.4"
    QString timeString() const;

    // The output picker's choice: a device id of AudioDeviceManager, or 0,
    // "System Default", which applies nothing (the engine stays on the
    // device last chosen).
    void chooseOutputDevice(uint32_t deviceID);
    uint32_t selectedDeviceID() const { return selectedDeviceID_; }

private:
    BatchSession& state_;
    Selection& selection_ = Selection::of(state_);
    AudioPlaybackEngine& engine_;
    uint32_t selectedDeviceID_ = 0;
};
