// Any float samples at any rate and channel count, written as a float WAV
// and analysed as a dropped file is: an error with a reason, or figures
// that are all numbers and lie where they must.

#include "analysis/AnalysisErrors.h"
#include "analysis/LoudnessAnalyzer.h"

#include "FuzzFiles.h"

#include <QtEndian>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace {

// The first five bytes choose the rate (1 Hz to 768 kHz) and channels (1 to 8).
QByteArray floatWav(const uint8_t* data, size_t size, uint32_t& rate) {
    uint32_t raw = 0;
    std::memcpy(&raw, data, 4);
    rate = raw % 768000 + 1;
    const uint16_t channels = data[4] % 8 + 1;
    const size_t frameBytes = 4u * channels;
    const auto bytes = static_cast<uint32_t>((size - 5) / frameBytes * frameBytes);
    QByteArray wav;
    const auto put32 = [&](uint32_t v) { wav.append(reinterpret_cast<const char*>(&v), 4); };
    const auto put16 = [&](uint16_t v) { wav.append(reinterpret_cast<const char*>(&v), 2); };
    wav.append("RIFF");
    put32(36 + bytes);
    wav.append("WAVEfmt ");
    put32(16);
    put16(3); // IEEE float
    put16(channels);
    put32(rate);
    put32(rate * static_cast<uint32_t>(frameBytes));
    put16(static_cast<uint16_t>(frameBytes));
    put16(32);
    wav.append("data");
    put32(bytes);
    wav.append(reinterpret_cast<const char*>(data + 5), bytes);
    return wav;
}

bool finite(const std::vector<double>& values) {
    return std::all_of(values.begin(), values.end(), [](double v) { return std::isfinite(v); });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 5 || size > 5 + 4 * 8 * 200000)
        return 0;
    uint32_t rate = 0;
    const FuzzFile file("wav", floatWav(data, size, rate));
    try {
        // The fifth byte's top bit, unused by the channel count, picks the mix.
        const ChannelMix mix = data[4] & 0x80 ? ChannelMix::average : ChannelMix::sum;
        const AnalysisResult r = LoudnessAnalyzer::analyze(file.path(), mix);
        const MeterFigures& f = r.figures;
        if (!std::isfinite(r.loudest20sLUFS) || !std::isfinite(r.peakDBFS) || !std::isfinite(r.duration) ||
            !finite(r.loudnessCurve) || !finite(r.times) ||
            !finite({f.integratedLUFS, f.loudnessRangeLU, f.maxMomentaryLUFS, f.maxShortTermLUFS, r.truePeakDBTP}))
            finding("a figure that is no number");
        if (f.loudnessRangeLU < 0.0 || f.integratedLUFS < -70.0 || r.truePeakDBTP < r.peakDBFS - 1e-3)
            finding("a meter figure outside its range");
        if (r.loudest20sLUFS < -70.0 || r.peakDBFS < -120.0 || r.peakDBFS > 60.0 + 1e-3)
            finding("a figure outside its range");
        if (r.windowStart < 0.0 || r.windowEnd < r.windowStart || r.windowEnd > r.duration + 1e-9)
            finding("a loudest window outside the file");
        if (r.sampleRate != rate)
            finding("a rate that is not the file's");
    } catch (const Failure&) {
    }
    return 0;
}
