#include "analysis/LoudnessAnalyzer.h"

#include "analysis/AnalysisErrors.h"
#include "analysis/AudioLoader.h"
#include "analysis/ReadAhead.h"
#include "analysis/SignalMeasurement.h"
#include "io/Interruption.h"
#include "io/NativePath.h"

#include <QFileInfo>
#include <algorithm>

namespace LoudnessAnalyzer {

namespace {

// How far a lossy file's decoded length may stray from the one its container
// states (priming and padding), and still be measured in one pass.
constexpr int64_t lengthUncertainty = 2560;

// Decodes `path` and measures it with prefix sums every `stride` samples (0:
// the analysis's own), decoding on one thread and measuring on this one.
AnalysisResult measure(const QString& path, ChannelMix mix, int64_t chunkFrames, int64_t stride) {
    // The envelope needs the length up front. When the decoded length falls
    // outside what the container promised, the file is measured once more
    // with the length it really has, so the figures equal those of the
    // decoded whole.
    int64_t known = -1;
    for (int attempt = 1; attempt <= 3; ++attempt) {
        OpenedAudio opened = AudioLoader::open(path);
        const bool exact = known >= 0 || opened.reader.framesExact();
        const int64_t expected = known >= 0 ? known : std::min(opened.reader.frames(), AudioLoader::maxFrames);
        SignalMeasurement measurement(expected, opened.reader.sampleRate(), stride, exact ? 0 : lengthUncertainty,
                                      weightingFor(mix, opened.reader.channelRoles()));
        const int64_t measured = AudioLoader::readAhead(
            opened, chunkFrames, [&](const float* interleaved, const float* mono, int64_t frames) {
                // A program that is ending does not wait for the end of the file.
                if (Interruption::cancelRequested())
                    throw AudioLoaderError(AudioLoaderError::Kind::stopped);
                measurement.add(interleaved, mono, frames);
            });
        if (measured == 0) {
            throw AudioLoaderError(AudioLoaderError::Kind::emptyFile);
        }
        if (measured > AudioLoader::maxFrames) {
            throw AudioLoaderError(AudioLoaderError::Kind::tooLong, QString::number(measured));
        }
        if (measurement.covers(measured)) {
            AnalysisResult result = measurement.finish();
            result.nonFiniteSamples = opened.reader.nonFiniteSamples();
            return result;
        }
        known = measured;
    }
    throw AudioLoaderError(AudioLoaderError::Kind::readFailed,
                           QStringLiteral("The file changed while it was being read: ") + NativePath::shownName(path));
}

} // namespace

AnalysisResult analyze(const QString& path, ChannelMix mix, int64_t chunkFrames) {
    return measure(path, mix, chunkFrames, 0);
}

LoudnessCurve curveOfFile(const QString& path, int64_t sampleRate, double windowSec, ChannelMix mix) {
    const AnalysisResult r =
        measure(path, mix, 65536, EnergyPrefix::curveStrideFor(sampleRate, curveWindowSamples(sampleRate, windowSec)));
    return computeLoudnessCurve(r.energy, r.sampleRate, r.totalSamples, windowSec);
}

} // namespace LoudnessAnalyzer
