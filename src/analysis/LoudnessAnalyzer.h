#pragma once

#include "analysis/AnalysisResult.h"
#include "analysis/ChannelWeighting.h"
#include "analysis/EnergyPrefix.h"

#include <QString>
#include <algorithm>
#include <cstdint>
#include <vector>

// Measures audio files: the gated loudness of the loudest 20 seconds (BS.1770
// gating on the channels' weighted sum, or on their average), the sample and
// true peaks, the whole file's meter figures, a short-term loudness curve, a
// drawing envelope and the prefix sums that later figures reuse.
namespace LoudnessAnalyzer {

// -70 LUFS stands for silence everywhere.
inline constexpr double silenceLUFS = -70.0;
// Peak of an all-zero file.
inline constexpr double silencePeakDBFS = -120.0;
inline constexpr int64_t envelopeBuckets = 2000;
inline constexpr double defaultCurveWindowSec = 3.0;

struct LoudestWindow {
    double start = 0.0;
    double end = 0.0;
    double peakLUFS = -200.0;
};

struct LoudnessCurve {
    std::vector<double> times;
    std::vector<double> values;
};

// Decodes and measures one file, streaming it in chunks of `chunkFrames`
// frames when the reader can (every figure is the same as measuring the whole
// decoded signal at once). Throws AudioLoaderError or AnalysisError.
AnalysisResult analyze(const QString& path, ChannelMix mix = ChannelMix::sum, int64_t chunkFrames = 65536);

// The loudness curve of a file for a window the analysis's sums do not hold
// (not a whole number of their strides): the file is decoded and measured
// again. Blocks; run it on a worker. Throws as analyze().
LoudnessCurve curveOfFile(const QString& path, int64_t sampleRate, double windowSec, ChannelMix mix);

// The integer lengths, in samples, at which the measurement reads its sums.
inline int64_t gatedBlockSamples(int64_t sampleRate) {
    return static_cast<int64_t>(0.4 * static_cast<double>(sampleRate));
}
inline int64_t gatedHopSamples(int64_t sampleRate) { return sampleRate / 10; }
inline int64_t loudestWindowSamples(int64_t sampleRate) { return 20 * sampleRate; }
// Rates below 2 Hz never come from a real file; a hop of at least one
// sample keeps them from dividing by zero.
inline int64_t loudestHopSamples(int64_t sampleRate) { return std::max<int64_t>(sampleRate / 2, 1); }
inline int64_t curveWindowSamples(int64_t sampleRate, double windowSec) {
    return std::max<int64_t>(static_cast<int64_t>(static_cast<double>(sampleRate) * windowSec), 1);
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

// Whether `energy` holds every sum a curve of `windowSec` reads.
bool holdsCurve(const EnergyPrefix& energy, int64_t sampleRate, double windowSec);
// Only where holdsCurve(); otherwise curveOfFile().
LoudnessCurve computeLoudnessCurve(const EnergyPrefix& energy, int64_t sampleRate, int64_t totalSamples,
                                   double windowSec);

} // namespace LoudnessAnalyzer
