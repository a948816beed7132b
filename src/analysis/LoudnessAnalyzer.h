#pragma once

#include "analysis/AnalysisResult.h"
#include "analysis/ChannelWeighting.h"
#include "analysis/EnergyPrefix.h"

#include <QString>
#include <algorithm>
#include <cstdint>
#include <stop_token>
#include <vector>

// Measures audio files: the gated loudness of the loudest 20 seconds (BS.1770
// gating on the channels' weighted sum, or on their average), the sample and
// true peaks, the whole file's meter figures, a short-term loudness curve and
// a drawing envelope.
namespace LoudnessAnalyzer {

// -70 LUFS stands for silence everywhere.
inline constexpr double silenceLUFS = -70.0;
// Peak of an all-zero file.
inline constexpr double silencePeakDBFS = -120.0;
inline constexpr int64_t envelopeBuckets = 2000;
// Raised whenever a change to the measurement changes a figure, the curve or
// the envelope, so that figures kept from the old one are measured again.
inline constexpr int measurementVersion = 2;

struct LoudestWindow {
    double start = 0.0;
    double end = 0.0;
    double loudest20sLUFS = -200.0;
};

struct LoudnessCurve {
    std::vector<double> times;
    std::vector<double> values;
};

// Decodes and measures one file, streaming it in chunks of `chunkFrames`
// frames when the reader can (every figure is the same as measuring the whole
// decoded signal at once). Throws a Failure, of kind `stopped` soon after
// `stop` is requested.
inline constexpr int64_t defaultChunkFrames = 65536;
AnalysisResult analyze(const QString& path, ChannelMix mix = ChannelMix::sum, int64_t chunkFrames = defaultChunkFrames,
                       std::stop_token stop = {});

// The integer lengths, in samples, at which the measurement reads its sums.
inline int64_t gatedBlockSamples(int64_t sampleRate) {
    return static_cast<int64_t>(0.4 * static_cast<double>(sampleRate));
}
inline int64_t gatedHopSamples(int64_t sampleRate) { return sampleRate / 10; }
inline int64_t loudestWindowSamples(int64_t sampleRate) { return 20 * sampleRate; }
// Rates below 2 Hz never come from a real file; a hop of at least one
// sample keeps them from dividing by zero.
inline int64_t loudestHopSamples(int64_t sampleRate) { return std::max<int64_t>(sampleRate / 2, 1); }
inline int64_t curveWindowSamples(int64_t sampleRate) {
    return std::max<int64_t>(static_cast<int64_t>(static_cast<double>(sampleRate) * AnalysisResult::curveWindowSec), 1);
}

// Loudness of a mean square: 10·log10(ms) − 0.691, or exactly -70 when ms <= 0.
double loudnessOfMeanSquare(double meanSquare);

// BS.1770 gated loudness of samples [start, end): 400 ms blocks every 100 ms,
// absolute gate at -70 LUFS, relative gate 10 LU below.
double gatedLoudness(const EnergyPrefix& energy, int64_t start, int64_t end, int64_t sampleRate);

LoudestWindow findLoudest20s(const EnergyPrefix& energy, int64_t sampleRate, int64_t totalSamples);
// The file's figure ("Peak 20s"): its loudest 20 seconds, or the whole of a
// shorter file.
LoudestWindow loudestFigure(const EnergyPrefix& energy, int64_t sampleRate, int64_t totalSamples);

// Integrated loudness, loudness range and the largest momentary and
// short-term loudness of the first `totalSamples` samples. A file shorter
// than a window has one, over the whole file.
MeterFigures meterFigures(const EnergyPrefix& energy, int64_t sampleRate, int64_t totalSamples);

// The gating blocks of the first `totalSamples` samples, counted by loudness.
GatingHistogram gatingHistogram(const EnergyPrefix& energy, int64_t sampleRate, int64_t totalSamples);

// The integrated loudness of several files gated as one programme, from
// their blocks: the relative gate lies 10 LU under the mean of them all, and
// each block counts at the loudness in the middle of its step.
double integratedOfAll(const std::vector<const GatingHistogram*>& files);

// The short-term loudness every 100 ms, each point at the middle of its window.
LoudnessCurve loudnessCurve(const EnergyPrefix& energy, int64_t sampleRate, int64_t totalSamples);

} // namespace LoudnessAnalyzer
