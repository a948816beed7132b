#include "support/AnalysisSupport.h"
#include "support/AudioFixtures.h"

TEST(Envelope, FewerSamplesThanBucketsGiveOneSampleBuckets) {
    const auto s = fixtures::noise(1, 1.0, 1500);
    const WaveformEnvelope e = support::makeEnvelope(s, 2000);
    EXPECT_EQ(e.bucketCount, 1500);
    EXPECT_EQ(e.minValues, s);
    EXPECT_EQ(e.maxValues, s);
    EXPECT_EQ(support::makeEnvelope({}, 2000), WaveformEnvelope{});
}

TEST(Envelope, LeftoverSamplesFallInNoBucket) {
    std::vector<float> s(4999);
    for (size_t i = 0; i < s.size(); ++i)
        s[i] = (i % 2 == 0) ? -0.25f * float(i % 7) / 7.0f : 0.5f * float(i % 5) / 5.0f;
    for (size_t i = 4000; i < 4999; ++i)
        s[i] = 9.0f; // beyond the 2000 buckets of 2 samples
    const WaveformEnvelope e = support::makeEnvelope(s, 2000);
    ASSERT_EQ(e.bucketCount, 2000);
    ASSERT_EQ(e.minValues.size(), 2000u);
    for (size_t b = 0; b < 2000; ++b) {
        EXPECT_EQ(e.minValues[b], std::min(s[2 * b], s[2 * b + 1])) << b;
        EXPECT_EQ(e.maxValues[b], std::max(s[2 * b], s[2 * b + 1])) << b;
    }
}
