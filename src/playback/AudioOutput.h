#pragma once

// Where the engine's sound goes: a stream of interleaved stereo 32-bit floats
// pulled by a callback. The application uses PortAudio; tests record what
// would be heard; machines without sound hardware get a silent clock.

#include <cstdint>
#include <optional>

class AudioCallback {
public:
    virtual ~AudioCallback() = default;
    // Fills `frames` stereo frames. Runs on the output's thread: allocates
    // nothing, blocks on nothing.
    virtual void render(float* interleavedStereo, int64_t frames) noexcept = 0;
};

class AudioOutput {
public:
    static constexpr int channels = 2;

    virtual ~AudioOutput() = default;
    // Opens the stream at `sampleRate` when the device takes it, else at the
    // device's own rate, and starts pulling from `callback`. Returns the rate
    // opened, or none when no stream could be opened.
    virtual std::optional<int64_t> open(int64_t sampleRate, AudioCallback* callback) = 0;
    // Stops pulling; when it returns, the callback is not running and won't run.
    virtual void close() = 0;
    virtual std::optional<int64_t> openRate() const = 0;
    // Whether what it plays is heard (not so for the silent clock).
    virtual bool isAudible() const { return true; }
    // Chooses the device that later opens use (a device index of the backend).
    virtual void setDevice(int deviceIndex) { (void)deviceIndex; }
};
