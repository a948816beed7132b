#include "analysis/LoudnessAnalyzer.h"

#include <algorithm>
#include <cmath>

namespace LoudnessAnalyzer {

double loudnessOfMeanSquare(double meanSquare) {
    return meanSquare > 0.0 ? 10.0 * std::log10(meanSquare) - 0.691 : silenceLUFS;
}

double gatedLoudness(const EnergyPrefix& energy, int64_t start, int64_t end, int64_t sampleRate) {
    const int64_t blockLength = gatedBlockSamples(sampleRate);
    if (sampleRate < 10 || blockLength < 1 || (end - start) < blockLength) {
        return silenceLUFS;
    }
    const int64_t hop = gatedHopSamples(sampleRate);
    const int64_t blocks = ((end - start) - blockLength) / hop + 1;
    const double invBlock = 1.0 / static_cast<double>(blockLength);

    std::vector<double> powers;
    powers.reserve(static_cast<size_t>(blocks));
    double absoluteSum = 0.0;
    int64_t absoluteCount = 0;
    for (int64_t i = 0; i < blocks; ++i) {
        const int64_t s = start + i * hop;
        const double power = (energy.sumAt(s + blockLength) - energy.sumAt(s)) * invBlock;
        if (loudnessOfMeanSquare(power) > silenceLUFS) {
            powers.push_back(power);
            absoluteSum += power;
            ++absoluteCount;
        }
    }
    if (absoluteCount == 0) {
        return silenceLUFS;
    }

    const double threshold = 10.0 * std::log10(absoluteSum / static_cast<double>(absoluteCount)) - 0.691 - 10.0;
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

LoudestWindow findLoudest20s(const EnergyPrefix& energy, int64_t sampleRate, int64_t totalSamples) {
    const int64_t window = loudestWindowSamples(sampleRate);
    if (window > totalSamples) {
        return {0.0, static_cast<double>(totalSamples) / static_cast<double>(sampleRate),
                gatedLoudness(energy, 0, totalSamples, sampleRate)};
    }
    const int64_t hop = loudestHopSamples(sampleRate);
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
        candidates.push_back({s, (energy.sumAt(s + window) - energy.sumAt(s)) * invWindow});
    }
    // Of equal mean squares the earlier window stays ahead.
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const Candidate& a, const Candidate& b) { return a.meanSquare > b.meanSquare; });

    double bestLoudness = -200.0;
    int64_t bestStart = 0;
    const size_t taken = std::min<size_t>(candidates.size(), 5);
    for (size_t k = 0; k < taken; ++k) {
        const int64_t s = candidates[k].start;
        const double g = gatedLoudness(energy, s, s + window, sampleRate);
        if (g > bestLoudness) {
            bestLoudness = g;
            bestStart = s;
        }
    }
    const double start = static_cast<double>(bestStart) / static_cast<double>(sampleRate);
    return {start, start + 20.0, bestLoudness};
}

LoudestWindow loudestFigure(const EnergyPrefix& energy, int64_t sampleRate, int64_t totalSamples) {
    const double duration = static_cast<double>(totalSamples) / static_cast<double>(sampleRate);
    if (duration < 20.0)
        return {0.0, duration, gatedLoudness(energy, 0, totalSamples, sampleRate)};
    return findLoudest20s(energy, sampleRate, totalSamples);
}

namespace {

// The mean squares of the windows of `window` samples that start every hop
// and lie within the first `total` samples; the whole of a shorter signal.
std::vector<double> windowPowers(const EnergyPrefix& energy, int64_t sampleRate, int64_t total, int64_t window) {
    window = std::min(window, total);
    if (window < 1)
        return {};
    const int64_t hop = gatedHopSamples(sampleRate);
    const int64_t count = (total - window) / hop + 1;
    std::vector<double> powers(static_cast<size_t>(count));
    const double inverse = 1.0 / static_cast<double>(window);
    for (int64_t i = 0; i < count; ++i)
        powers[static_cast<size_t>(i)] = (energy.sumAt(i * hop + window) - energy.sumAt(i * hop)) * inverse;
    return powers;
}

double largestLoudness(const std::vector<double>& powers) {
    return powers.empty() ? silenceLUFS : loudnessOfMeanSquare(*std::max_element(powers.begin(), powers.end()));
}

// Of the short-term windows over the absolute gate, those over the relative
// gate 20 LU below their mean power: the distance from the 10th to the 95th
// percentile of their loudness.
double loudnessRange(const std::vector<double>& shortTerm) {
    std::vector<double> gated;
    double sum = 0.0;
    for (double power : shortTerm) {
        if (loudnessOfMeanSquare(power) > silenceLUFS) {
            gated.push_back(power);
            sum += power;
        }
    }
    if (gated.empty())
        return 0.0;
    const double relativeGate = loudnessOfMeanSquare(sum / static_cast<double>(gated.size())) - 20.0;
    std::vector<double> kept;
    for (double power : gated) {
        if (loudnessOfMeanSquare(power) > relativeGate)
            kept.push_back(loudnessOfMeanSquare(power));
    }
    if (kept.empty())
        return 0.0;
    std::sort(kept.begin(), kept.end());
    // Between the two nearest values, in proportion.
    const auto percentile = [&](double p) {
        const double at = p * static_cast<double>(kept.size() - 1);
        const auto below = static_cast<size_t>(at);
        const double above = below + 1 < kept.size() ? kept[below + 1] : kept[below];
        return kept[below] + (above - kept[below]) * (at - static_cast<double>(below));
    };
    return percentile(0.95) - percentile(0.10);
}

} // namespace

MeterFigures meterFigures(const EnergyPrefix& energy, int64_t sampleRate, int64_t totalSamples) {
    MeterFigures figures;
    if (sampleRate < 10 || totalSamples < 1)
        return figures;
    figures.integratedLUFS = gatedLoudness(energy, 0, totalSamples, sampleRate);
    figures.maxMomentaryLUFS =
        largestLoudness(windowPowers(energy, sampleRate, totalSamples, gatedBlockSamples(sampleRate)));
    const std::vector<double> shortTerm = windowPowers(energy, sampleRate, totalSamples, 3 * sampleRate);
    figures.maxShortTermLUFS = largestLoudness(shortTerm);
    figures.loudnessRangeLU = loudnessRange(shortTerm);
    return figures;
}

LoudnessCurve loudnessCurve(const EnergyPrefix& energy, int64_t sampleRate, int64_t totalSamples) {
    const int64_t window = curveWindowSamples(sampleRate);
    LoudnessCurve curve;
    if (sampleRate < 10 || totalSamples < 1 || window > totalSamples) {
        return curve;
    }
    const int64_t hop = gatedHopSamples(sampleRate);
    const int64_t points = (totalSamples - window) / hop + 1;
    const double invWindow = 1.0 / static_cast<double>(window);
    const double invRate = 1.0 / static_cast<double>(sampleRate);
    const double halfWindow = static_cast<double>(window) * 0.5;
    curve.times.resize(static_cast<size_t>(points));
    curve.values.resize(static_cast<size_t>(points));
    for (int64_t i = 0; i < points; ++i) {
        const int64_t s = i * hop;
        curve.times[i] = invRate * (halfWindow + static_cast<double>(s));
        curve.values[i] = loudnessOfMeanSquare((energy.sumAt(s + window) - energy.sumAt(s)) * invWindow);
    }
    return curve;
}

} // namespace LoudnessAnalyzer
