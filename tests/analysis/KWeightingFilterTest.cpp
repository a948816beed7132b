#include "analysis/ChannelWeighting.h"
#include "analysis/LoudnessAnalyzer.h"
#include "support/AnalysisSupport.h"
#include "support/AudioFixtures.h"

#include <numbers>
#include <soxr.h>

namespace {

// Resamples with libsoxr at its best quality.
std::vector<float> resample(const std::vector<float>& in, double from, double to) {
    std::vector<float> out(static_cast<size_t>(static_cast<double>(in.size()) * to / from) + 16);
    size_t produced = 0;
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, 0);
    soxr_oneshot(from, to, 1, in.data(), in.size(), nullptr, out.data(), out.size(), &produced, &io, &quality, nullptr);
    out.resize(produced);
    return out;
}

} // namespace

// The same band-limited music measures the same at every rate.
TEST(KWeightingFilter, MusicMeasuresTheSameAtEveryRate) {
    // Noise made at 20 kHz holds nothing above 10 kHz; with a bass line and
    // a chord whose level changes, as music does. Ten seconds are enough, and
    // keep the sanitizer build's run short.
    std::vector<float> music = resample(fixtures::noise(7, 0.2, 20000 * 10), 20000, 48000);
    for (size_t i = 0; i < music.size(); ++i) {
        const double t = static_cast<double>(i) / 48000.0;
        const double swell = 0.5 + 0.5 * std::sin(2 * std::numbers::pi * 0.25 * t);
        music[i] += static_cast<float>(0.3 * std::sin(2 * std::numbers::pi * 55 * t) +
                                       swell * 0.1 *
                                           (std::sin(2 * std::numbers::pi * 440 * t) +
                                            std::sin(2 * std::numbers::pi * 1320 * t) +
                                            std::sin(2 * std::numbers::pi * 4400 * t)));
    }
    const double at48 = support::analyzeSamples(music, 48000).loudest20sLUFS;
    for (int64_t rate : {22050, 32000, 44100, 88200, 96000, 192000}) {
        const double measured = support::analyzeSamples(resample(music, 48000, double(rate)), rate).loudest20sLUFS;
        EXPECT_NEAR(measured, at48, 0.03) << rate << " Hz";
    }
    // Tones, down to the lowest rate whose filter is designed (the shelf
    // warps there) rather than borrowed from 48 kHz (+2.8 LU).
    const auto tones = [](int64_t rate) {
        using namespace fixtures;
        return support::analyzeSamples(concat({sine(100.0, 0.5, rate, rate * 4), sine(900.0, 0.3, rate, rate * 4)}),
                                       rate)
            .loudest20sLUFS;
    };
    EXPECT_NEAR(tones(KWeightingFilter::minimumDesignedRate), tones(48000), 0.2);
}

TEST(KWeightingFilter, ReferenceGainsAt48k) {
    const auto c = KWeightingFilter::coefficients(48000);
    // The published rows stay exactly as published.
    EXPECT_EQ(c.preFilter.b0, 1.53512485958697);
    EXPECT_EQ(KWeightingFilter::coefficients(44100).preFilter.b0, 1.5308412300498355);
    EXPECT_NEAR(support::kWeightingResponseDB(c, 997.0, 48000), 0.691, 0.002);
    EXPECT_NEAR(support::kWeightingResponseDB(c, 10000.0, 48000), 4.04, 0.01);
    EXPECT_NEAR(support::kWeightingResponseDB(c, 20.0, 48000), -13.3, 0.05);
    // Other rates are designed from the prototype: a hertz from 48 or 44.1
    // kHz it gives the published rows again (the high-pass's gain apart).
    const auto apart = [](const KWeightingFilter::Section& x, const KWeightingFilter::Section& y, bool gains) {
        return (gains ? std::abs(x.b0 - y.b0) + std::abs(x.b1 - y.b1) + std::abs(x.b2 - y.b2) : 0.0) +
               std::abs(x.a1 - y.a1) + std::abs(x.a2 - y.a2);
    };
    for (int64_t rate : {48000, 44100}) {
        const auto published = KWeightingFilter::coefficients(rate),
                   designed = KWeightingFilter::coefficients(rate + 1);
        EXPECT_LT(apart(designed.preFilter, published.preFilter, true), 5e-5) << rate;
        EXPECT_LT(apart(designed.highPass, published.highPass, false), 1e-6) << rate;
    }

    // The filter itself, not only its formula: a 997 Hz sine gains 0.691 dB in power.
    KWeightingFilter filter(48000);
    const auto in = fixtures::sine(997.0, 0.5, 48000, 48000 * 2);
    const auto out = support::filtered(filter, in);
    double pin = 0, pout = 0;
    for (size_t i = 48000; i < in.size(); ++i) { // past the settling time
        pin += double(in[i]) * in[i];
        pout += double(out[i]) * out[i];
    }
    EXPECT_NEAR(10.0 * std::log10(pout / pin), 0.691, 0.005);
}

// Stereo runs both channels' filters in one vector; it must give the sums
// that filtering each channel on its own gives (here: with a third,
// weightless channel, which takes the general path), up to the rounding of
// a fused multiply-add.
TEST(KWeightingFilterTest, StereoInOneVectorSumsAsChannelByChannel) {
    const std::vector<float> left = fixtures::noise(1, 0.7, 9000), right = fixtures::sine(60.0, 0.9, 44100, 9000);
    std::vector<float> two, three;
    for (size_t i = 0; i < left.size(); ++i) {
        two.insert(two.end(), {left[i], right[i]});
        three.insert(three.end(), {left[i], right[i], 0.5f});
    }
    ChannelEnergy stereo(44100, {ChannelMix::sum, {1.0f, 1.41f}}),
        general(44100, {ChannelMix::sum, {1.0f, 1.41f, 0.0f}});
    double a = 0.0, b = 0.0;
    for (size_t at = 0; at < left.size(); at += 1234) {
        const auto n = static_cast<int64_t>(std::min<size_t>(1234, left.size() - at));
        a = stereo.accumulate(two.data() + 2 * at, nullptr, n, a);
        b = general.accumulate(three.data() + 3 * at, nullptr, n, b);
        EXPECT_NEAR(a, b, 1e-6 * b) << at;
    }
}
