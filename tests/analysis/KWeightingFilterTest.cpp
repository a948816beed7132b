#include "analysis/KWeightingFilter.h"

#include "support/AudioFixtures.h"

#include <cmath>
#include <gtest/gtest.h>
#include <numbers>

namespace {

using Section = KWeightingFilter::Section;

bool sameSection(const Section& a, const Section& b) {
    return a.b0 == b.b0 && a.b1 == b.b1 && a.b2 == b.b2 && a.a1 == b.a1 && a.a2 == b.a2;
}

// The BS.1770 high shelf as an analogue prototype, mapped to `rate` by the
// bilinear transform prewarped at its centre frequency.
Section preFilterFromPrototype(double rate) {
    const double f0 = 1681.974450955533;
    const double gainDB = 3.999843853973347;
    const double q = 0.7071752369554196;
    const double k = std::tan(std::numbers::pi * f0 / rate);
    const double vh = std::pow(10.0, gainDB / 20.0);
    const double vb = std::pow(vh, 0.4996667741545416);
    const double a0 = 1.0 + k / q + k * k;
    return {(vh + vb * k / q + k * k) / a0, 2.0 * (k * k - vh) / a0, (vh - vb * k / q + k * k) / a0,
            2.0 * (k * k - 1.0) / a0, (1.0 - k / q + k * k) / a0};
}

void expectNear(const Section& a, const Section& b, double tolerance) {
    EXPECT_NEAR(a.b0, b.b0, tolerance);
    EXPECT_NEAR(a.b1, b.b1, tolerance);
    EXPECT_NEAR(a.b2, b.b2, tolerance);
    EXPECT_NEAR(a.a1, b.a1, tolerance);
    EXPECT_NEAR(a.a2, b.a2, tolerance);
}

} // namespace

TEST(KWeightingFilter, RowsAreChosenByExactRate) {
    const auto r48 = KWeightingFilter::coefficients(48000);
    const auto r44 = KWeightingFilter::coefficients(44100);
    const auto r96 = KWeightingFilter::coefficients(96000);
    EXPECT_EQ(r48.preFilter.b0, 1.53512485958697);
    EXPECT_EQ(r44.preFilter.b0, 1.5308412300498355);
    EXPECT_EQ(r96.highPass.a1, -1.9950144559570604);
    EXPECT_FALSE(sameSection(r44.preFilter, r48.preFilter));
    EXPECT_FALSE(sameSection(r96.preFilter, r48.preFilter));
    for (int64_t rate : {44099, 88200, 192000, 32000, 8000}) {
        const auto r = KWeightingFilter::coefficients(rate);
        EXPECT_TRUE(sameSection(r.preFilter, r48.preFilter)) << rate;
        EXPECT_TRUE(sameSection(r.highPass, r48.highPass)) << rate;
    }
}

TEST(KWeightingFilter, NinetySixKilohertzPreFilterComesFromTheSamePrototype) {
    // The prototype reproduces the published rows, so it is the one behind them...
    expectNear(preFilterFromPrototype(48000), KWeightingFilter::coefficients(48000).preFilter,
               1e-12);
    expectNear(preFilterFromPrototype(44100), KWeightingFilter::coefficients(44100).preFilter,
               1e-11);
    // ...and the 96 kHz row is that prototype at 96 kHz.
    expectNear(preFilterFromPrototype(96000), KWeightingFilter::coefficients(96000).preFilter,
               1e-15);

    // Its magnitude response follows the 48 kHz row's across the band.
    const auto r48 = KWeightingFilter::coefficients(48000).preFilter;
    const auto r96 = KWeightingFilter::coefficients(96000).preFilter;
    double worst = 0.0;
    for (double f = 20.0; f <= 15000.0; f *= 1.005) {
        const double d = sectionResponseDB(r96, f, 96000) - sectionResponseDB(r48, f, 48000);
        worst = std::max(worst, std::abs(d));
    }
    EXPECT_LT(worst, 0.02);
    // The whole 96 kHz cascade gives the same reference gains as the 48 kHz one.
    const auto c96 = KWeightingFilter::coefficients(96000);
    EXPECT_NEAR(kWeightingResponseDB(c96, 997.0, 96000), 0.691, 0.01);
    EXPECT_NEAR(kWeightingResponseDB(c96, 10000.0, 96000), 4.04, 0.05);
}

TEST(KWeightingFilter, ReferenceGainsAt48k) {
    const auto c = KWeightingFilter::coefficients(48000);
    EXPECT_NEAR(kWeightingResponseDB(c, 997.0, 48000), 0.691, 0.002);
    EXPECT_NEAR(kWeightingResponseDB(c, 10000.0, 48000), 4.04, 0.01);
    EXPECT_NEAR(kWeightingResponseDB(c, 20.0, 48000), -13.3, 0.05);

    // The filter itself, not only its formula: a 997 Hz sine gains 0.691 dB in power.
    KWeightingFilter filter(48000);
    const auto in = fixtures::sine(997.0, 0.5, 48000, 48000 * 2);
    const auto out = filter.apply(in);
    double pin = 0, pout = 0;
    for (size_t i = 48000; i < in.size(); ++i) { // past the settling time
        pin += double(in[i]) * in[i];
        pout += double(out[i]) * out[i];
    }
    EXPECT_NEAR(10.0 * std::log10(pout / pin), 0.691, 0.005);
}

TEST(KWeightingFilter, ConstantInputDecaysToZero) {
    KWeightingFilter filter(48000);
    const std::vector<float> dc(48000 * 3, 0.8f);
    const auto out = filter.apply(dc);
    EXPECT_GT(std::abs(out.front()), 0.5f); // the step passes at first
    EXPECT_LT(std::abs(out.back()), 1e-4f);
}
