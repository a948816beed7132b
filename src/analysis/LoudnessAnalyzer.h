#pragma once

#include "analysis/AnalysisResult.h"

#include <QString>
#include <cstdint>
#include <vector>

// Measures audio files: the gated loudness of the loudest 20 seconds (BS.1770
// gating on one down-mixed channel), the sample peak, a short-term loudness
// curve, a drawing envelope and the prefix sums that later figures reuse.
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
AnalysisResult analyze(const QString& path, int64_t chunkFrames = 65536);

// Measures mono samples already in memory.
AnalysisResult analyzeSamples(const std::vector<float>& mono, int64_t sampleRate);

// output[0] = 0, output[i + 1] = output[i] + input[i], in 64-bit.
std::vector<double> prefixSumFromFloat(const std::vector<float>& input);

// Loudness of a mean square: 10·log10(ms) − 0.691, or exactly -70 when ms <= 0.
double loudnessOfMeanSquare(double meanSquare);

// BS.1770 gated loudness of samples [start, end): 400 ms blocks every 100 ms,
// absolute gate at -70 LUFS, relative gate 10 LU below.
double gatedLoudness(const std::vector<double>& cumsum, int64_t start, int64_t end,
                     int64_t sampleRate);

LoudestWindow findLoudest20s(const std::vector<double>& cumsum, int64_t sampleRate,
                             int64_t totalSamples);

LoudnessCurve computeLoudnessCurve(const std::vector<double>& cumsum, int64_t sampleRate,
                                   int64_t totalSamples, double windowSec);

} // namespace LoudnessAnalyzer
