#pragma once

// Files to play and a way to pull what the engine would make heard.

#include "io/AudioReader.h"
#include "playback/AudioPlaybackEngine.h"
#include "playback/MemoryOutput.h"
#include "support/AudioFixtures.h"
#include "support/EngineProbe.h"
#include "support/EventLoop.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <vector>

// Frames a start, a pause or a new gain takes to ramp at 48 kHz (5 ms):
// sample-exact checks begin after them.
inline constexpr size_t rampFrames48k = 240;

// Stereo 32-bit float WAV: a sine on the left, noise on the right.
inline QString writeStereo(const QTemporaryDir& dir, const QString& name, double seconds, int64_t rate = 48000) {
    const auto n = static_cast<int64_t>(seconds * static_cast<double>(rate));
    const QString path = dir.filePath(name);
    fixtures::writeWav(path, {fixtures::sine(440.0, 0.5, rate, n), fixtures::noise(7, 0.3, n)}, rate);
    return path;
}

struct EngineUnderTest {
    MemoryOutput* output;
    AudioPlaybackEngine engine;

    explicit EngineUnderTest(std::set<int64_t> rates = {})
        : EngineUnderTest(std::make_unique<MemoryOutput>(std::move(rates))) {}
    explicit EngineUnderTest(std::unique_ptr<MemoryOutput> out) : output(out.get()), engine(std::move(out)) {}

    // Pulls `frames` frames, 512 at a time, each once the reader is ahead
    // or has read the whole file.
    std::vector<float> pull(int64_t frames) {
        output->take();
        for (int64_t done = 0; done < frames; done += 512) {
            fixtures::waitUntil(
                [&] {
                    output->pull(0); // lets the engine drop what was read before a seek
                    return EngineProbe::bufferedFrames(engine) >= 2048 || EngineProbe::isReadToEnd(engine);
                },
                1000);
            output->pull(std::min<int64_t>(512, frames - done));
        }
        return output->take();
    }
};

// Interleaved stereo frames of a file, from `first` for `frames` frames.
inline std::vector<float> sourceFrames(const QString& path, int64_t first, int64_t frames) {
    const std::vector<float> left = fixtures::readFirstChannel(path);
    AudioReader file(path);
    std::vector<float> all(static_cast<size_t>(file.frames() * file.channels()));
    file.readInterleaved(all.data(), file.frames());
    std::vector<float> out;
    for (int64_t i = first; i < first + frames && i < file.frames(); ++i) {
        out.push_back(all[static_cast<size_t>(i * file.channels())]);
        out.push_back(all[static_cast<size_t>(i * file.channels() + (file.channels() > 1 ? 1 : 0))]);
    }
    return out;
}
