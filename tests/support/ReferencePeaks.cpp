#include "support/ReferencePeaks.h"

#include "io/AudioReader.h"

#include <algorithm>
#include <cmath>
#include <ebur128.h>
#include <vector>

namespace fixtures {

std::tuple<double, float, double> referencePeaks(const QString& path) {
    AudioReader file(path);
    const auto channels = static_cast<unsigned>(file.channels());
    ebur128_state* st =
        ebur128_init(channels, static_cast<unsigned long>(file.sampleRate()), EBUR128_MODE_TRUE_PEAK | EBUR128_MODE_I);
    std::vector<float> buffer(4096 * channels);
    float samplePeak = 0;
    for (int64_t n; (n = file.readInterleaved(buffer.data(), 4096)) > 0;) {
        ebur128_add_frames_float(st, buffer.data(), static_cast<size_t>(n));
        for (int64_t i = 0; i < n * file.channels(); ++i)
            samplePeak = std::max(samplePeak, std::abs(buffer[static_cast<size_t>(i)]));
    }
    double truePeak = 0;
    for (unsigned c = 0; c < channels; ++c) {
        double p = 0;
        ebur128_true_peak(st, c, &p);
        truePeak = std::max(truePeak, p);
    }
    double integrated = 0;
    ebur128_loudness_global(st, &integrated);
    ebur128_destroy(&st);
    return {20 * std::log10(truePeak), samplePeak, integrated};
}

} // namespace fixtures
