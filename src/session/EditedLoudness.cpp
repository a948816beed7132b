#include "session/EditedLoudness.h"

#include "editing/SegmentGainEvaluation.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double absoluteGateLUFS = -70.0;
constexpr double relativeGateLU = 10.0;

// 10^(lu / 10), the power of a loudness.
double power(double lu) { return std::exp(lu * (M_LN10 / 10.0)); }

// The mean power of [first, first + count), points under the relative gate
// left out; 0 when nothing passes.
double gatedMean(const std::vector<double>& powers, size_t first, size_t count) {
    double sum = 0.0;
    size_t kept = 0;
    for (size_t i = first; i < first + count; ++i)
        if (powers[i] > 0.0)
            sum += powers[i], ++kept;
    if (kept == 0)
        return 0.0;
    const double gate = sum / static_cast<double>(kept) * power(-relativeGateLU);
    double gated = 0.0;
    kept = 0;
    for (size_t i = first; i < first + count; ++i)
        if (powers[i] > gate)
            gated += powers[i], ++kept;
    return gated / static_cast<double>(kept);
}

// The loudest stretch of `span` points, as a power: the stretch of the
// largest plain mean, found with a running sum in one pass, then gated.
double loudest(const std::vector<double>& powers, size_t span) {
    double sum = 0.0;
    for (size_t i = 0; i < span; ++i)
        sum += powers[i];
    double largest = sum;
    size_t best = 0;
    for (size_t first = 1; first + span <= powers.size(); ++first) {
        sum += powers[first + span - 1] - powers[first - 1];
        if (sum > largest)
            largest = sum, best = first;
    }
    return gatedMean(powers, best, span);
}

} // namespace

namespace EditedLoudness {

double shiftLU(const AnalysisResult& analysis, const SegmentEditSnapshot& edits, NormalizeBy by) {
    const std::vector<double>& curve = analysis.loudnessCurve;
    if (edits.separators.empty() || analysis.isSilent() || curve.size() < 2 || analysis.times.size() != curve.size())
        return 0.0;
    const std::vector<double> offsets = SegmentGainEvaluation::gainOffsetsAtTimes(edits, analysis.times);
    std::vector<double> measured(curve.size()), edited(curve.size());
    for (size_t i = 0; i < curve.size(); ++i) {
        measured[i] = curve[i] <= absoluteGateLUFS ? 0.0 : power(curve[i]);
        // A point the gain lifts over the absolute gate counts from then on.
        const double level = curve[i] + offsets[i];
        edited[i] = curve[i] <= absoluteGateLUFS || level <= absoluteGateLUFS ? 0.0 : power(level);
    }
    const double step = analysis.times[1] - analysis.times[0];
    const size_t span = by == NormalizeBy::integrated || step <= 0.0
                            ? curve.size()
                            : std::clamp<size_t>(static_cast<size_t>(std::lround(20.0 / step)), 1, curve.size());
    const double before = loudest(measured, span), after = loudest(edited, span);
    return before > 0.0 && after > 0.0 ? 10.0 * std::log10(after / before) : 0.0;
}

} // namespace EditedLoudness
