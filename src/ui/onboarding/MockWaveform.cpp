#include "ui/onboarding/MockWaveform.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace MockWaveform {

AnalysisResult make() {
    using std::numbers::pi;
    AnalysisResult mock;
    mock.envelope.bucketCount = bucketCount;
    mock.envelope.minValues.resize(bucketCount);
    mock.envelope.maxValues.resize(bucketCount);
    for (int i = 0; i < bucketCount; ++i) {
        const double p = static_cast<double>(i) / bucketCount;
        double v = 0.45 * std::sin(pi * p) + 0.3 + 0.15 * std::sin(3.2 * pi * p) + 0.08 * std::sin(47 * p) +
                   0.06 * std::cos(31 * p) + 0.04 * std::sin(73 * p);
        v = std::clamp(v, 0.02, 0.95);
        mock.envelope.maxValues[static_cast<size_t>(i)] = static_cast<float>(v);
        mock.envelope.minValues[static_cast<size_t>(i)] = static_cast<float>(-v);
    }
    for (int k = 0; k < curvePoints; ++k) {
        const double q = static_cast<double>(k) / curvePoints;
        mock.times.push_back(duration * q);
        mock.loudnessCurve.push_back(6 * std::sin(pi * q) - 18 + 2.5 * std::sin(11 * q) + 1.5 * std::cos(7 * q) +
                                     std::sin(23 * q));
    }
    mock.duration = duration;
    // The first loudest point; the window starts five points before it.
    const auto loudest = std::max_element(mock.loudnessCurve.begin(), mock.loudnessCurve.end());
    mock.loudest20sLUFS = *loudest;
    const auto j = static_cast<size_t>(loudest - mock.loudnessCurve.begin());
    mock.windowStart = mock.times[j >= 5 ? j - 5 : 0];
    mock.windowEnd = std::min(mock.windowStart + 20.0, duration);
    return mock;
}

const AnalysisResult& shared() {
    static const AnalysisResult mock = make();
    return mock;
}

} // namespace MockWaveform
