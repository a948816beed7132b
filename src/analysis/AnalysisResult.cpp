#include "analysis/AnalysisResult.h"

#include <algorithm>

std::vector<TimeRange> AnalysisResult::softPassageRanges() const {
    std::vector<TimeRange> ranges;
    const size_t n = std::min(times.size(), loudnessCurve.size());
    // The last 15 s of a file never start a soft passage.
    const double endLimit = duration - 15.0;
    if (!(endLimit > 0.0)) {
        return ranges;
    }
    const double halfWindow = curveWindowSec * 0.5;
    const double threshold = loudest20sLUFS - 12.0;

    size_t i = 0;
    while (i < n) {
        if (!(loudnessCurve[i] < threshold)) {
            ++i;
            continue;
        }
        size_t j = i;
        while (j + 1 < n && loudnessCurve[j + 1] < threshold) {
            ++j;
        }
        const double start = std::max(times[i] - halfWindow, 0.0);
        const double end = times[j] + halfWindow;
        // The 10-second test is made before the cut at the end limit.
        if (end - start >= 10.0 && start < endLimit) {
            ranges.push_back({start, std::min(end, endLimit)});
        }
        i = j + 2; // point j + 1 is at or above the threshold
    }
    return ranges;
}

std::optional<QString> AnalysisResult::warning() const {
    if (nonFiniteSamples == 0)
        return std::nullopt;
    return nonFiniteSamples == 1
               ? QStringLiteral("1 sample was not a number and was treated as silence")
               : QStringLiteral("%1 samples were not numbers and were treated as silence").arg(nonFiniteSamples);
}
