#pragma once

// An output that records what would be heard. Nothing pulls on its own: the
// test calls pull() (from any one thread) to run the callback.

#include "playback/AudioOutput.h"

#include <atomic>
#include <mutex>
#include <set>
#include <vector>

class MemoryOutput : public AudioOutput {
public:
    // Rates the pretend device takes; empty: every rate. Others open at
    // `fallbackRate`.
    explicit MemoryOutput(std::set<int64_t> acceptedRates = {}, int64_t fallbackRate = 48000);

    std::optional<int64_t> open(int64_t sampleRate, AudioCallback* callback) override;
    void close() override;
    std::optional<int64_t> openRate() const override;
    void setDevice(int deviceIndex) override { device_ = deviceIndex; }

    // Runs the callback for `frames` frames in blocks of `blockFrames` and
    // appends what it produced to the recording. Returns false when no stream is open.
    bool pull(int64_t frames, int64_t blockFrames = 512);
    // Interleaved stereo, everything pulled since the last take.
    std::vector<float> take();
    int device() const { return device_; }
    int opens() const { return opens_; }

private:
    std::set<int64_t> accepted_;
    int64_t fallback_;
    mutable std::mutex mutex_; // open/close against pull
    AudioCallback* callback_ = nullptr;
    std::optional<int64_t> rate_;
    std::vector<float> recorded_;
    std::vector<float> block_;
    int device_ = -1;
    int opens_ = 0;
};
