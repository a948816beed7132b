#include "export/TruePeakLimiter.h"
#include "support/AudioFixtures.h"

#include <ebur128.h>

namespace {

// Runs `in` (stereo) through a limiter in uneven pieces and returns what
// comes out, the latency removed.
std::vector<float> limited(const std::vector<float>& in, double ceilingDBTP, int64_t rate = 48000) {
    TruePeakLimiter limiter(2, rate, ceilingDBTP);
    const int64_t frames = static_cast<int64_t>(in.size()) / 2;
    std::vector<float> out(in.size() + static_cast<size_t>(limiter.latency() * 2));
    for (int64_t at = 0; at < frames; at += 700)
        limiter.process(in.data() + at * 2, std::min<int64_t>(700, frames - at), out.data() + at * 2);
    limiter.flush(out.data() + frames * 2);
    out.erase(out.begin(), out.begin() + limiter.latency() * 2);
    return out;
}

double referenceTruePeakDB(const std::vector<float>& stereo) {
    ebur128_state* st = ebur128_init(2, 48000, EBUR128_MODE_TRUE_PEAK);
    ebur128_add_frames_float(st, stereo.data(), stereo.size() / 2);
    double left = 0, right = 0;
    ebur128_true_peak(st, 0, &left);
    ebur128_true_peak(st, 1, &right);
    ebur128_destroy(&st);
    return 20 * std::log10(std::max(left, right));
}

} // namespace

TEST(TruePeakLimiterTest, HoldsTheCeilingAndLeavesQuietSignalsAlone) {
    // Decaying bursts far over the ceiling, a near-Nyquist tone and a
    // click on one channel.
    std::vector<float> loud(48000 * 2 * 2, 0.0f);
    for (size_t i = 0; i < loud.size() / 2; ++i) {
        const double t = static_cast<double>(i) / 48000;
        const double decay = 4.0 * std::exp(-8.0 * std::fmod(t, 0.5));
        loud[2 * i] = static_cast<float>(decay * std::sin(2 * M_PI * 440 * t));
        loud[2 * i + 1] = static_cast<float>(1.5 * std::sin(2 * M_PI * 18000 * t + 0.4));
    }
    loud[2 * 30000 + 1] = 6.0f;
    // First, a slowly falling level far over: every frame asks for a
    // little more gain than the one before, for longer than the look-ahead.
    for (size_t i = 0; i < 12000; ++i)
        loud[2 * i] = loud[2 * i + 1] = static_cast<float>(20.0 * std::exp(-static_cast<double>(i) / 300.0));
    for (double ceiling : {-1.0, -0.1, -6.0}) {
        // And a tone just over the ceiling, after silence, from a gain at rest.
        std::vector<float> mild(48000 * 2, 0.0f);
        for (size_t i = mild.size() / 2; i < mild.size(); ++i)
            mild[i] = static_cast<float>(1.2 * std::pow(10.0, ceiling / 20) * std::sin(0.13 * static_cast<double>(i)));
        for (const std::vector<float>* in : {&loud, &mild}) {
            const std::vector<float> out = limited(*in, ceiling);
            EXPECT_LE(referenceTruePeakDB(out), ceiling + 0.1) << ceiling;
            EXPECT_GT(referenceTruePeakDB(out), ceiling - 1.0) << "not held far below " << ceiling;
        }
    }
    // After a burst the gain comes back smoothly, to 1.
    std::vector<float> level(48000 * 2, 0.5f);
    std::fill(level.begin() + 9600, level.begin() + 14400, 2.0f);
    const std::vector<float> back = limited(level, -1.0);
    for (size_t i = 2 * 8000; i + 2 < back.size(); i += 2)
        ASSERT_LT(std::abs(back[i + 2] - back[i]), 1e-3f) << "a step at frame " << i / 2;
    EXPECT_LT(back[2 * 16000], 0.495f) << "still releasing 180 ms after";
    EXPECT_NEAR(back.back(), 0.5f, 1e-4f);
    // Under the ceiling: the very samples, only delayed, also where the
    // delay outlasts a block (at 384 kHz).
    std::vector<float> quiet(loud);
    for (float& x : quiet)
        x *= 0.03f;
    for (int64_t rate : {48000, 384000})
        EXPECT_EQ(limited(quiet, -1.0, rate), quiet) << rate;
}
