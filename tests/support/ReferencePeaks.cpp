#include "support/ReferencePeaks.h"

#include "io/AudioReader.h"

#include <algorithm>
#include <cmath>
#include <ebur128.h>
#include <vector>

namespace fixtures {

namespace {

// libebur128's state after [from, to) of the decoded file, and its largest sample.
std::pair<ebur128_state*, float> measured(const QString& path, double fromSec, double toSec) {
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
    return {st, samplePeak};
}

} // namespace

std::tuple<double, float, double> referencePeaks(const QString& path, double fromSec, double toSec) {
    auto [st, samplePeak] = measured(path, fromSec, toSec);
    double truePeak = 0;
    for (unsigned c = 0; c < st->channels; ++c) {
        double p = 0;
        ebur128_true_peak(st, c, &p);
        truePeak = std::max(truePeak, p);
    }
    double integrated = 0;
    ebur128_loudness_global(st, &integrated);
    ebur128_destroy(&st);
    return {20 * std::log10(truePeak), samplePeak, integrated};
}

double referenceIntegratedOfAll(const QStringList& paths) {
    std::vector<ebur128_state*> states;
    for (const QString& path : paths)
        states.push_back(measured(path, 0.0, std::numeric_limits<double>::infinity()).first);
    double integrated = 0;
    ebur128_loudness_global_multiple(states.data(), states.size(), &integrated);
    for (ebur128_state*& st : states)
        ebur128_destroy(&st);
    return integrated;
}

} // namespace fixtures
