#include "analysis/LoudnessAnalyzer.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <tuple>

using namespace LoudnessAnalyzer;

namespace {

// Adds `count` squared samples from `squared` to an accumulator.
void addAll(EnergyPrefix::Accumulator& sums, const float* squared, int64_t count) {
    sums.add(count, [&](int64_t offset, int64_t n, double sum) {
        for (int64_t k = 0; k < n; ++k)
            sum += static_cast<double>(squared[offset + k]);
        return sum;
    });
}

// Prefix sums of a per-sample power profile, kept at every sample.
EnergyPrefix sums(const std::vector<float>& power) {
    EnergyPrefix::Accumulator sums(1, static_cast<int64_t>(power.size()));
    addAll(sums, power.data(), static_cast<int64_t>(power.size()));
    return sums.take();
}

std::vector<float> profile(size_t n, float value) { return std::vector<float>(n, value); }

double lufs(double meanSquare) { return 10.0 * std::log10(meanSquare) - 0.691; }

} // namespace

TEST(LoudnessMath, StridedSumsAccumulateIn64BitSampleBySample) {
    // 2^24 + 1 is not a float; the sum is kept in 64 bits, and fed in pieces
    // that do not meet the stride it holds the same sums.
    const std::vector<float> ones(16777217, 1.0f);
    EnergyPrefix::Accumulator a(4800, 16777217);
    addAll(a, ones.data(), 1000);
    addAll(a, ones.data() + 1000, 16777217 - 1000);
    const EnergyPrefix e = a.take();
    EXPECT_EQ(e.sumAt(16777217), 16777217.0);
    EXPECT_EQ(e.sumAt(4800 * 3), 14400.0);
    EXPECT_TRUE(e.holds(4800) && e.holds(16777217) && !e.holds(4801));
    EXPECT_FALSE(e.holds(-4800) || e.holds(4800 * 3500)); // before the start, past the end
}

TEST(LoudnessMath, SilenceAndShortSpansReadMinus70) {
    EXPECT_EQ(loudnessOfMeanSquare(0.0), -70.0);
    EXPECT_EQ(loudnessOfMeanSquare(-1e-30), -70.0);
    EXPECT_DOUBLE_EQ(loudnessOfMeanSquare(1.0), -0.691);

    const auto c = sums(profile(48000, 0.5));
    EXPECT_EQ(gatedLoudness(c, 0, 19199, 48000), -70.0); // one sample short of a block
    EXPECT_DOUBLE_EQ(gatedLoudness(c, 0, 19200, 48000), lufs(0.5));
    EXPECT_EQ(gatedLoudness(c, 0, 48000, 9), -70.0); // rate below 10 Hz
    EXPECT_DOUBLE_EQ(gatedLoudness(c, 0, 100, 10), lufs(0.5)) << "10 Hz is the lowest rate measured";
    EXPECT_EQ(gatedLoudness(sums(profile(48000, 0.0)), 0, 48000, 48000), -70.0);
    // Everything below the absolute gate: 1e-8 is about -80.7 LUFS.
    EXPECT_EQ(gatedLoudness(sums(profile(48000, 1e-8f)), 0, 48000, 48000), -70.0);

    // Rate 100: blocks of 40 samples every 10. 95 samples hold 6 blocks ending at 90;
    // whatever lies in the last 5 samples is never measured.
    std::vector<float> p = profile(95, 0.25);
    std::fill(p.begin() + 90, p.end(), 1000.0f);
    EXPECT_DOUBLE_EQ(gatedLoudness(sums(p), 0, 95, 100), lufs(0.25));
}

TEST(LoudnessMath, RelativeGateDropsQuietBlocks) {
    // 10 s loud, 10 s 30 dB quieter, 10 s of digital silence, at 100 Hz.
    std::vector<float> p = profile(1000, 1.0);
    p.insert(p.end(), 1000, 1e-3f);
    p.insert(p.end(), 1000, 0.0f);
    const auto c = sums(p);
    const double g = gatedLoudness(c, 0, 3000, 100);
    // Only the loud blocks and the few that straddle into the quiet part remain.
    EXPECT_NEAR(g, lufs(1.0), 0.1);
    EXPECT_GT(g, lufs(2000.0 * 1.0 / 3000.0)); // above the ungated average
    // A level just 5 dB down stays within the relative gate and counts.
    std::vector<float> q = profile(1000, 1.0);
    q.insert(q.end(), 1000, std::pow(10.0f, -0.5f));
    EXPECT_NEAR(gatedLoudness(sums(q), 0, 2000, 100), lufs((1.0 + std::pow(10.0, -0.5)) / 2), 0.05);
    // The gate sits 10 LU under the mean power of the blocks that passed the
    // absolute gate, all of them counted: half the blocks at 1/19.05 of the
    // others' power lie 0.01 LU under it.
    std::fill(q.begin() + 1000, q.end(), 1.0f / 19.05f);
    EXPECT_NEAR(gatedLoudness(sums(q), 0, 2000, 100), lufs(1.0), 0.1);
}

TEST(LoudnessMath, LoudestWindowTiesKeepTheEarlierWindowAndAShortSignalIsWhole) {
    // 100 Hz: windows of 2000 samples every 50; three candidates, all alike.
    const auto c = sums(profile(2100, 1.0));
    const LoudestWindow w = findLoudest20s(c, 100, 2100);
    EXPECT_EQ(std::tuple(w.start, w.end), std::tuple(0.0, 20.0));
    EXPECT_DOUBLE_EQ(w.loudest20sLUFS, lufs(1.0));

    std::vector<float> shortPower = profile(1999, 0.5);
    shortPower[0] = 8.0f; // the whole signal counts, from its first sample
    const auto shortSums = sums(shortPower);
    const LoudestWindow whole = findLoudest20s(shortSums, 100, 1999);
    EXPECT_EQ(whole.start, 0.0);
    EXPECT_DOUBLE_EQ(whole.end, 19.99);
    EXPECT_EQ(whole.loudest20sLUFS, gatedLoudness(shortSums, 0, 1999, 100));
}

TEST(LoudnessMath, LoudestWindowIsTheBestGatedOfTheFiveStrongest) {
    // A later window with a lower mean square but a louder gated level wins.
    std::vector<float> p = profile(2100, 0.0);
    std::fill(p.begin(), p.begin() + 100, 1.0f);
    std::fill(p.begin() + 100, p.begin() + 900, 2.0f);
    auto c = sums(p);
    LoudestWindow w = findLoudest20s(c, 100, 2100);
    EXPECT_EQ(w.start, 1.0);
    EXPECT_EQ(w.end, 21.0);
    EXPECT_EQ(w.loudest20sLUFS, gatedLoudness(c, 100, 2100, 100));

    // Seven candidates ranked by mean square from s = 0 down to s = 300; the
    // gated level rises along the same line, but only the first five are gated.
    p = profile(2300, 0.0);
    std::fill(p.begin(), p.begin() + 300, 1.0f);
    std::fill(p.begin() + 300, p.begin() + 700, 3.0f);
    c = sums(p);
    w = findLoudest20s(c, 100, 2300);
    EXPECT_EQ(w.start, 2.0);
    EXPECT_EQ(w.loudest20sLUFS, gatedLoudness(c, 200, 2200, 100));
    EXPECT_GT(gatedLoudness(c, 300, 2300, 100), w.loudest20sLUFS);
}

TEST(LoudnessMath, CurvePointsAndEdges) {
    std::vector<float> p = profile(1000, 0.0);
    std::fill(p.begin() + 500, p.end(), 0.1f);
    const auto c = sums(p);
    // 3 s window at 100 Hz: 300 samples every 10 → (1000 - 300) / 10 + 1 points.
    const LoudnessCurve curve = loudnessCurve(c, 100, 1000);
    ASSERT_EQ(curve.times.size(), 71u);
    ASSERT_EQ(curve.values.size(), 71u);
    EXPECT_DOUBLE_EQ(curve.times.front(), 1.5);
    EXPECT_DOUBLE_EQ(curve.times.back(), 8.5);
    EXPECT_EQ(curve.values.front(), -70.0); // pure silence, never -inf
    EXPECT_NEAR(curve.values.back(), lufs(0.1f), 1e-9);

    EXPECT_TRUE(loudnessCurve(c, 100, 299).times.empty()); // shorter than the window
    EXPECT_EQ(loudnessCurve(c, 100, 300).times.size(), 1u);
    EXPECT_TRUE(loudnessCurve(c, 9, 1000).times.empty());
    EXPECT_FALSE(loudnessCurve(c, 10, 1000).times.empty()) << "10 Hz is the lowest rate measured";
    EXPECT_TRUE(loudnessCurve(EnergyPrefix(), 100, 0).times.empty());
}
