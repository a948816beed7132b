#pragma once

// An output for machines without sound: a thread pulls the callback in real
// time, 10 ms at a time, and throws the samples away.

#include "playback/AudioOutput.h"

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

class SilentOutput : public AudioOutput {
public:
    ~SilentOutput() override { close(); }
    std::optional<int64_t> open(int64_t sampleRate, AudioCallback* callback) override;
    void close() override;
    std::optional<int64_t> openRate() const override;
    bool isAudible() const override { return false; }

private:
    std::atomic<bool> running_{false};
    std::thread thread_;
    std::optional<int64_t> rate_;
};
