#include "analysis/LoudnessAnalyzer.h"

#include "analysis/AnalysisErrors.h"
#include "analysis/AudioLoader.h"
#include "analysis/SignalMeasurement.h"

#include <algorithm>
#include <new>

namespace LoudnessAnalyzer {

namespace {

// Reads the frames `measurement` still expects from `opened`, down-mixed.
void measureStream(OpenedAudio& opened, SignalMeasurement& measurement, int64_t chunkFrames) {
    SoundFile& file = opened.file;
    const int channels = file.channels();
    std::vector<float> interleaved;
    std::vector<float> mono;
    try {
        interleaved.resize(static_cast<size_t>(chunkFrames * channels));
        mono.resize(static_cast<size_t>(chunkFrames));
    } catch (const std::bad_alloc&) {
        throw AudioLoaderError(AudioLoaderError::Kind::bufferCreationFailed);
    }
    while (measurement.measuredSamples() < measurement.expectedSamples()) {
        const int64_t want =
            std::min(chunkFrames, measurement.expectedSamples() - measurement.measuredSamples());
        const int64_t got = file.readInterleaved(interleaved.data(), want);
        if (got <= 0) {
            return;
        }
        if (opened.firstChannelOnly) {
            for (int64_t f = 0; f < got; ++f) {
                mono[static_cast<size_t>(f)] = interleaved[static_cast<size_t>(f * channels)];
            }
        } else {
            downmixInterleaved(interleaved.data(), got, channels, mono.data());
        }
        measurement.add(mono.data(), got);
    }
}

} // namespace

AnalysisResult analyze(const QString& path, int64_t chunkFrames) {
    chunkFrames = std::max<int64_t>(chunkFrames, 1);
    int64_t expected = -1;
    // The envelope needs the length up front. When the reader delivers fewer
    // frames than its header promised, the file is measured once more with the
    // length it really has, so the figures equal those of the decoded whole.
    for (int attempt = 0; attempt < 3; ++attempt) {
        OpenedAudio opened = AudioLoader::open(path);
        if (expected < 0) {
            expected = opened.file.frames();
        }
        if (expected == 0) {
            throw AudioLoaderError(AudioLoaderError::Kind::emptyFile);
        }
        SignalMeasurement measurement(expected, opened.file.sampleRate());
        measureStream(opened, measurement, chunkFrames);
        const int64_t measured = measurement.measuredSamples();
        if (measured == 0) {
            throw AudioLoaderError(AudioLoaderError::Kind::emptyFile);
        }
        if (measured == expected || attempt == 2) {
            return measurement.finish();
        }
        expected = measured;
    }
    throw AudioLoaderError(AudioLoaderError::Kind::emptyFile); // not reached
}

AnalysisResult analyzeSamples(const std::vector<float>& mono, int64_t sampleRate) {
    SignalMeasurement measurement(static_cast<int64_t>(mono.size()), sampleRate);
    measurement.add(mono.data(), static_cast<int64_t>(mono.size()));
    return measurement.finish();
}

} // namespace LoudnessAnalyzer
