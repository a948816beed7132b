#pragma once

// The application's output: one PortAudio stream of interleaved stereo
// floats on the chosen device (the default output until one is chosen).
// PortAudio's own chatter about missing JACK or ALSA plug-ins is kept off
// the terminal.

#include "playback/AudioOutput.h"

#include <optional>

class PortAudioOutput : public AudioOutput {
public:
    // Initializes PortAudio; check isAvailable() before use.
    PortAudioOutput();
    ~PortAudioOutput() override;
    bool isAvailable() const { return initialized_; }

    std::optional<int64_t> open(int64_t sampleRate, AudioCallback* callback) override;
    void close() override;
    std::optional<int64_t> openRate() const override { return rate_; }
    void setDevice(int deviceIndex) override { device_ = deviceIndex; }

private:
    bool initialized_ = false;
    void* stream_ = nullptr;
    std::optional<int64_t> rate_;
    int device_ = -1; // -1: the default output
};

// PortAudio initialisation shared by the output and the device list.
namespace PortAudioSession {
// Initializes once per call pair; returns false when PortAudio can't start.
bool acquire();
void release();
} // namespace PortAudioSession
