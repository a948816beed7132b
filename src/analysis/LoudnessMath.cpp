#include "analysis/LoudnessAnalyzer.h"

#include <algorithm>
#include <cmath>

namespace LoudnessAnalyzer {

std::vector<double> prefixSumFromFloat(const std::vector<float>& input) {
    std::vector<double> output(input.size() + 1);
    output[0] = 0.0;
    double sum = 0.0;
    for (size_t i = 0; i < input.size(); ++i) {
        sum += static_cast<double>(input[i]);
        output[i + 1] = sum;
    }
    return output;
}

double loudnessOfMeanSquare(double meanSquare) {
    return meanSquare > 0.0 ? 10.0 * std::log10(meanSquare) - 0.691 : silenceLUFS;
}

double gatedLoudness(const std::vector<double>& cumsum, int64_t start, int64_t end,
                     int64_t sampleRate) {
    const auto blockLength = static_cast<int64_t>(0.4 * static_cast<double>(sampleRate));
    if (sampleRate < 10 || blockLength < 1 || (end - start) < blockLength) {
        return silenceLUFS;
    }
    const int64_t hop = sampleRate / 10;
    const int64_t blocks = ((end - start) - blockLength) / hop + 1;
    const double invBlock = 1.0 / static_cast<double>(blockLength);

    std::vector<double> powers;
    powers.reserve(static_cast<size_t>(blocks));
    double absoluteSum = 0.0;
    int64_t absoluteCount = 0;
    for (int64_t i = 0; i < blocks; ++i) {
        const int64_t s = start + i * hop;
        const double power = (cumsum[s + blockLength] - cumsum[s]) * invBlock;
        if (loudnessOfMeanSquare(power) > silenceLUFS) {
            powers.push_back(power);
            absoluteSum += power;
            ++absoluteCount;
        }
    }
    if (absoluteCount == 0) {
        return silenceLUFS;
    }

    const double threshold =
        10.0 * std::log10(absoluteSum / static_cast<double>(absoluteCount)) - 0.691 - 10.0;
    double relativeSum = 0.0;
    int64_t relativeCount = 0;
    for (const double power : powers) {
        if (loudnessOfMeanSquare(power) > threshold) {
            relativeSum += power;
            ++relativeCount;
        }
    }
    if (relativeCount == 0) {
        return silenceLUFS;
    }
    return 10.0 * std::log10(relativeSum / static_cast<double>(relativeCount)) - 0.691;
}

LoudestWindow findLoudest20s(const std::vector<double>& cumsum, int64_t sampleRate,
                             int64_t totalSamples) {
    const int64_t window = 20 * sampleRate;
    if (window > totalSamples) {
        return {0.0, static_cast<double>(totalSamples) / static_cast<double>(sampleRate),
                gatedLoudness(cumsum, 0, totalSamples, sampleRate)};
    }
    // Rates below 2 Hz never come from a real file; a hop of at least one
    // sample keeps them from dividing by zero.
    const int64_t hop = std::max<int64_t>(sampleRate / 2, 1);
    const int64_t count = (totalSamples - window) / hop + 1;
    const double invWindow = 1.0 / static_cast<double>(window);

    struct Candidate {
        int64_t start;
        double meanSquare;
    };
    std::vector<Candidate> candidates;
    candidates.reserve(static_cast<size_t>(count));
    for (int64_t i = 0; i < count; ++i) {
        const int64_t s = i * hop;
        candidates.push_back({s, (cumsum[s + window] - cumsum[s]) * invWindow});
    }
    // Of equal mean squares the earlier window stays ahead.
    std::stable_sort(
        candidates.begin(), candidates.end(),
        [](const Candidate& a, const Candidate& b) { return a.meanSquare > b.meanSquare; });

    double bestLoudness = -200.0;
    int64_t bestStart = 0;
    const size_t taken = std::min<size_t>(candidates.size(), 5);
    for (size_t k = 0; k < taken; ++k) {
        const int64_t s = candidates[k].start;
        const double g = gatedLoudness(cumsum, s, s + window, sampleRate);
        if (g > bestLoudness) {
            bestLoudness = g;
            bestStart = s;
        }
    }
    const double start = static_cast<double>(bestStart) / static_cast<double>(sampleRate);
    return {start, start + 20.0, bestLoudness};
}

LoudnessCurve computeLoudnessCurve(const std::vector<double>& cumsum, int64_t sampleRate,
                                   int64_t totalSamples, double windowSec) {
    auto window = static_cast<int64_t>(static_cast<double>(sampleRate) * windowSec);
    if (window < 1) {
        window = 1;
    }
    LoudnessCurve curve;
    if (sampleRate < 10 || totalSamples < 1 || window > totalSamples) {
        return curve;
    }
    const int64_t hop = sampleRate / 10;
    const int64_t points = (totalSamples - window) / hop + 1;
    const double invWindow = 1.0 / static_cast<double>(window);
    const double invRate = 1.0 / static_cast<double>(sampleRate);
    const double halfWindow = static_cast<double>(window) * 0.5;
    curve.times.resize(static_cast<size_t>(points));
    curve.values.resize(static_cast<size_t>(points));
    for (int64_t i = 0; i < points; ++i) {
        const int64_t s = i * hop;
        curve.times[i] = invRate * (halfWindow + static_cast<double>(s));
        curve.values[i] = loudnessOfMeanSquare((cumsum[s + window] - cumsum[s]) * invWindow);
    }
    return curve;
}

} // namespace LoudnessAnalyzer
