#include "support/ReferencePeaks.h"

#include "io/AudioReader.h"

#include <algorithm>
#include <cmath>
#include <ebur128.h>
#include <vector>

namespace fixtures {

std::tuple<double, float, double> referencePeaks(const QString& path, double fromSec, double toSec) {
    AudioReader file(path);
    const int64_t channels = file.channels();
    const auto rate = static_cast<double>(file.sampleRate());
    const auto from = static_cast<int64_t>(std::min(fromSec * rate, 9e18)),
               to = static_cast<int64_t>(std::min(toSec * rate, 9e18));
    ebur128_state* st = ebur128_init(static_cast<unsigned>(channels), static_cast<unsigned long>(file.sampleRate()),
                                     EBUR128_MODE_TRUE_PEAK | EBUR128_MODE_I);
    std::vector<float> buffer(static_cast<size_t>(4096 * channels));
    float samplePeak = 0;
    int64_t at = 0;
    for (int64_t n; at < to && (n = file.readInterleaved(buffer.data(), 4096)) > 0; at += n) {
        const int64_t first = std::clamp<int64_t>(from - at, 0, n), last = std::clamp<int64_t>(to - at, 0, n);
        if (last > first)
            ebur128_add_frames_float(st, buffer.data() + first * channels, static_cast<size_t>(last - first));
        for (int64_t i = first * channels; i < last * channels; ++i)
            samplePeak = std::max(samplePeak, std::abs(buffer[static_cast<size_t>(i)]));
    }
    double truePeak = 0;
    for (int64_t c = 0; c < channels; ++c) {
        double p = 0;
        ebur128_true_peak(st, static_cast<unsigned>(c), &p);
        truePeak = std::max(truePeak, p);
    }
    double integrated = 0;
    ebur128_loudness_global(st, &integrated);
    ebur128_destroy(&st);
    return {20 * std::log10(truePeak), samplePeak, integrated};
}

} // namespace fixtures
