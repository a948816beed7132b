#include "analysis/LoudnessAnalyzer.h"

#include "analysis/AnalysisErrors.h"
#include "analysis/AudioLoader.h"
#include "analysis/SignalMeasurement.h"

namespace LoudnessAnalyzer {

namespace {

// Decodes `path` and measures it with prefix sums every `stride` samples (0:
// the analysis's own).
AnalysisResult measure(const QString& path, int64_t chunkFrames, int64_t stride) {
    int64_t expected = -1;
    // The envelope needs the length up front. When the reader delivers fewer
    // frames than its header promised, the file is measured once more with the
    // length it really has, so the figures equal those of the decoded whole.
    for (int attempt = 1;; ++attempt) {
        OpenedAudio opened = AudioLoader::open(path);
        if (expected < 0) {
            expected = opened.file.frames();
        }
        if (expected == 0) {
            throw AudioLoaderError(AudioLoaderError::Kind::emptyFile);
        }
        SignalMeasurement measurement(expected, opened.file.sampleRate(), stride);
        const int64_t measured = AudioLoader::readMonoChunks(
            opened, expected, chunkFrames,
            [&](const float* mono, int64_t frames) { measurement.add(mono, frames); });
        if (measured == 0) {
            throw AudioLoaderError(AudioLoaderError::Kind::emptyFile);
        }
        if (measured == expected || attempt == 3) {
            return measurement.finish();
        }
        expected = measured;
    }
}

} // namespace

AnalysisResult analyze(const QString& path, int64_t chunkFrames) {
    return measure(path, chunkFrames, 0);
}

LoudnessCurve curveOfFile(const QString& path, int64_t sampleRate, double windowSec) {
    const AnalysisResult r =
        measure(path, 65536, EnergyPrefix::curveStrideFor(sampleRate, curveWindowSamples(sampleRate, windowSec)));
    return computeLoudnessCurve(r.energy, r.sampleRate, r.totalSamples, windowSec);
}

AnalysisResult analyzeSamples(const std::vector<float>& mono, int64_t sampleRate) {
    SignalMeasurement measurement(static_cast<int64_t>(mono.size()), sampleRate);
    measurement.add(mono.data(), static_cast<int64_t>(mono.size()));
    return measurement.finish();
}

} // namespace LoudnessAnalyzer
