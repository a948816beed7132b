#pragma once

// Reads how far the playback reader is ahead, which the program keeps
// private and never shows, for tests.

#include "playback/AudioPlaybackEngine.h"

#include <algorithm>

struct EngineProbe {
    // Frames of the current stream read ahead and waiting for the output.
    static int64_t bufferedFrames(const AudioPlaybackEngine& e) {
        const std::optional<int64_t> end = e.reader_.queuedEnd(e.epoch_.load());
        return end ? std::max<int64_t>(0, *end - e.outputPosition_.load()) : 0;
    }
    // The reader has queued the end of the file for the current stream.
    static bool isReadToEnd(const AudioPlaybackEngine& e) { return e.reader_.readToEndEpoch() == e.epoch_.load(); }
    static double fileDuration(const AudioPlaybackEngine& e) { return e.fileDuration_; }
};
