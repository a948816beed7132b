#include "analysis/LoudnessAnalyzer.h"

#include <algorithm>
#include <cmath>

namespace LoudnessAnalyzer {

double loudnessOfMeanSquare(double meanSquare) {
    return meanSquare > 0.0 ? 10.0 * std::log10(meanSquare) - 0.691 : silenceLUFS;
}

namespace {

// The mean squares of the 400 ms blocks of samples [start, end), every 100
// ms, that pass the absolute gate.
std::vector<double> gatedBlockPowers(const EnergyPrefix& energy, int64_t start, int64_t end, int64_t sampleRate) {
    const int64_t blockLength = gatedBlockSamples(sampleRate);
    std::vector<double> powers;
    if (sampleRate < 10 || blockLength < 1 || (end - start) < blockLength)
        return powers;
    const int64_t hop = gatedHopSamples(sampleRate);
    const int64_t blocks = ((end - start) - blockLength) / hop + 1;
    const double invBlock = 1.0 / static_cast<double>(blockLength);
    powers.reserve(static_cast<size_t>(blocks));
    for (int64_t i = 0; i < blocks; ++i) {
        const int64_t s = start + i * hop;
        const double power = (energy.sumAt(s + blockLength) - energy.sumAt(s)) * invBlock;
        if (loudnessOfMeanSquare(power) > silenceLUFS)
            powers.push_back(power);
    }
    return powers;
}

// The mean square of `count` blocks whose powers add up to `sum`, as a loudness.
double meanLoudness(double sum, double count) {
    return count > 0 ? 10.0 * std::log10(sum / count) - 0.691 : silenceLUFS;
}

} // namespace

double gatedLoudness(const EnergyPrefix& energy, int64_t start, int64_t end, int64_t sampleRate) {
    const std::vector<double> powers = gatedBlockPowers(energy, start, end, sampleRate);
    double absoluteSum = 0.0;
    for (const double power : powers)
        absoluteSum += power;
    if (powers.empty())
        return silenceLUFS;
    const double threshold = meanLoudness(absoluteSum, static_cast<double>(powers.size())) - 10.0;
    double relativeSum = 0.0;
    int64_t relativeCount = 0;
    for (const double power : powers) {
        if (loudnessOfMeanSquare(power) > threshold) {
            relativeSum += power;
            ++relativeCount;
        }
    }
    return meanLoudness(relativeSum, static_cast<double>(relativeCount));
}

GatingHistogram gatingHistogram(const EnergyPrefix& energy, int64_t sampleRate, int64_t totalSamples) {
    std::vector<uint32_t> counts(GatingHistogram::bins);
    int lowest = GatingHistogram::bins, highest = -1;
    for (const double power : gatedBlockPowers(energy, 0, totalSamples, sampleRate)) {
        const double steps = (loudnessOfMeanSquare(power) - silenceLUFS) / GatingHistogram::stepLU;
        const int bin = std::clamp(static_cast<int>(steps), 0, GatingHistogram::bins - 1);
        ++counts[static_cast<size_t>(bin)];
        lowest = std::min(lowest, bin);
        highest = std::max(highest, bin);
    }
    GatingHistogram histogram;
    if (highest >= 0) {
        histogram.firstBin = lowest;
        histogram.counts.assign(counts.begin() + lowest, counts.begin() + highest + 1);
    }
    return histogram;
}

double integratedOfAll(const std::vector<const GatingHistogram*>& files) {
    std::vector<double> counts(GatingHistogram::bins);
    for (const GatingHistogram* file : files)
        for (size_t i = 0; i < file->counts.size(); ++i)
            if (const size_t bin = static_cast<size_t>(file->firstBin) + i; bin < counts.size())
                counts[bin] += file->counts[i];
    const auto middle = [](size_t bin) {
        return silenceLUFS + (static_cast<double>(bin) + 0.5) * GatingHistogram::stepLU;
    };
    const auto power = [&](size_t bin) { return std::pow(10.0, (middle(bin) + 0.691) / 10.0); };
    double sum = 0.0, count = 0.0;
    for (size_t bin = 0; bin < counts.size(); ++bin)
        sum += counts[bin] * power(bin), count += counts[bin];
    const double threshold = meanLoudness(sum, count) - 10.0;
    double relativeSum = 0.0, relativeCount = 0.0;
    for (size_t bin = 0; bin < counts.size(); ++bin)
        if (counts[bin] > 0 && middle(bin) > threshold)
            relativeSum += counts[bin] * power(bin), relativeCount += counts[bin];
    return meanLoudness(relativeSum, relativeCount);
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
