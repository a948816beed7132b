#include "EditFixtures.h"

#include "editing/SegmentGainEvaluation.h"

#include <cmath>
#include <cstring>
#include <random>

using namespace SegmentGainEvaluation;

namespace {

// The envelope as defined, one full gainAtTime per block: the reference the
// single-pass envelope must match bit for bit.
std::vector<float> envelopeByDefinition(const SegmentEditSnapshot& e, double base, int64_t rate, int64_t frames,
                                        int64_t block) {
    std::vector<float> out;
    for (int64_t b = 0; b * block < frames; ++b) {
        const double t = static_cast<double>(b * block + block / 2) / static_cast<double>(rate);
        out.push_back(static_cast<float>(std::pow(10.0, gainAtTime(e, t, base) / 20.0)));
    }
    return out;
}

bool bitIdentical(const std::vector<float>& a, const std::vector<float>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

} // namespace

TEST(SegmentGainEvaluationTest, FadeZonesMoveInDecibelsAcrossTheSeparator) {
    const SegmentEditSnapshot none = SegmentEditSnapshot::initial();
    for (double t : {-1.0, 0.0, 50.0, 1e9})
        EXPECT_EQ(gainAtTime(none, t, -3.0), -3.0);
    const std::vector<float> flat = computeGainEnvelope(none, -3.0, 48000, 48000 * 2);
    ASSERT_EQ(flat.size(), 188u);
    const float minus3dB = static_cast<float>(std::pow(10.0, -3.0 / 20.0));
    for (float g : flat)
        ASSERT_EQ(g, minus3dB);

    SegmentEditSnapshot e = editsWith({10.0}, {0.0, 6.0});
    SegmentEditModel::setFadeDuration(e, e.separators[0].id, 1000.0);
    EXPECT_EQ(gainOffsetAtTime(e, 9.49), 0.0);
    EXPECT_EQ(gainOffsetAtTime(e, 9.5), 0.0);
    EXPECT_DOUBLE_EQ(gainOffsetAtTime(e, 9.75), 1.5);
    EXPECT_DOUBLE_EQ(gainOffsetAtTime(e, 10.0), 3.0);
    EXPECT_EQ(gainOffsetAtTime(e, 10.5), 6.0);
    EXPECT_EQ(gainOffsetAtTime(e, 10.51), 6.0);
    EXPECT_DOUBLE_EQ(gainAtTime(e, 9.75, -2.0), -0.5);

    SegmentEditModel::setFadeDuration(e, e.separators[0].id, 0.0);
    EXPECT_EQ(gainOffsetAtTime(e, 9.999), 0.0);
    EXPECT_EQ(gainOffsetAtTime(e, 10.0), 6.0);

    // Offsets for many times at once are the same, also where the times go back.
    const SegmentEditSnapshot two = editsWith({10.0, 20.0}, {1.0, 2.0, 3.0});
    const std::vector<double> times{5.0, 12.0, 25.0, 9.0, 11.0, 30.0, 2.0};
    std::vector<double> one;
    for (double t : times)
        one.push_back(gainOffsetAtTime(two, t));
    EXPECT_EQ(gainOffsetsAtTimes(two, times), one);
}

TEST(SegmentGainEvaluationTest, EnvelopeHasOneEntryPerBlockEvaluatedAtItsCentre) {
    const SegmentEditSnapshot none = SegmentEditSnapshot::initial();
    EXPECT_TRUE(computeGainEnvelope(none, 0.0, 48000, 0).empty());
    EXPECT_TRUE(computeGainEnvelope(none, 0.0, 48000, -5).empty());
    EXPECT_TRUE(computeGainEnvelope(none, 0.0, 0, 1000).empty());
    EXPECT_TRUE(computeGainEnvelope(none, 0.0, 48000, 1000, 0).empty());
    EXPECT_EQ(computeGainEnvelope(none, 0.0, 48000, 1024).size(), 2u);
    EXPECT_EQ(computeGainEnvelope(none, 0.0, 48000, 1025).size(), 3u);
    EXPECT_EQ(computeGainEnvelope(none, 0.0, 48000, 1).size(), 1u);

    // A ramp of 10 dB per second from 0 s to 1 s reveals where each block is
    // evaluated: 1000 frames at 1000 Hz give centres at frames 256 and 768.
    const SegmentEditSnapshot ramp{{Separator{QUuid::createUuid(), 0.5, 1000.0}},
                                   {SegmentGain{QUuid::createUuid(), 0.0}, SegmentGain{QUuid::createUuid(), 10.0}}};
    const std::vector<float> env = computeGainEnvelope(ramp, 0.0, 1000, 1000);
    ASSERT_EQ(env.size(), 2u);
    EXPECT_NEAR(env[0], std::pow(10.0, 2.56 / 20.0), 1e-6);
    EXPECT_NEAR(env[1], std::pow(10.0, 7.68 / 20.0), 1e-6);

    // At 48 kHz the first centre is 256 / 48000 s = 5.333 ms into a 0..1 s ramp.
    const std::vector<float> at48k = computeGainEnvelope(ramp, 0.0, 48000, 600);
    ASSERT_EQ(at48k.size(), 2u);
    EXPECT_NEAR(at48k[0], std::pow(10.0, (256.0 / 48000.0) * 10.0 / 20.0), 1e-7);
}

// The envelope is built in one pass; it must equal, bit for bit, a full
// gainAtTime per block: for random edits made through the model (including
// overlapping 5 s fades) and for hand-made lists the model would never make.
TEST(SegmentGainEvaluationTest, SinglePassEnvelopeEqualsThePerBlockDefinition) {
    std::mt19937_64 rng(7);
    std::uniform_real_distribution<double> time(0.0, 120.0);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    const int64_t rates[] = {1000, 44100, 48000, 96000};
    const int64_t blocks[] = {512, 1, 777};
    for (int run = 0; run < 60; ++run) {
        SegmentEditSnapshot e = SegmentEditSnapshot::initial();
        for (int i = 0; i < 40; ++i)
            SegmentEditModel::addSeparator(e, 3.0 + std::floor(time(rng) * 4.0) / 4.0);
        for (size_t i = 0; i < e.separators.size(); ++i) {
            const double fade = unit(rng) < 0.3 ? 5000.0 : std::floor(unit(rng) * 5) * 1000.0;
            SegmentEditModel::setFadeDuration(e, e.separators[i].id, fade);
        }
        for (size_t i = 0; i < e.segmentGains.size(); ++i)
            SegmentEditModel::setSegmentGain(e, static_cast<int64_t>(i), (unit(rng) - 0.5) * 24.0);
        const int64_t rate = rates[run % 4];
        const int64_t block = blocks[run % 3];
        const int64_t frames = rate * 125 / (block == 1 ? 20 : 1) + run;
        const double base = (unit(rng) - 0.5) * 20.0;
        ASSERT_TRUE(bitIdentical(computeGainEnvelope(e, base, rate, frames, block),
                                 envelopeByDefinition(e, base, rate, frames, block)))
            << "run " << run;
    }

    const auto handMade = [](std::vector<Separator> seps, std::vector<double> offsets) {
        SegmentEditSnapshot e{std::move(seps), {}};
        for (double o : offsets)
            e.segmentGains.push_back(SegmentGain{QUuid::createUuid(), o});
        return e;
    };
    const QUuid a = QUuid::createUuid(), b = QUuid::createUuid(), c = QUuid::createUuid();
    const std::vector<SegmentEditSnapshot> odd = {
        // Zones reaching past a neighbour: the first zone in list order decides.
        handMade({{a, 2.0, 9000.0}, {b, 4.0, 20000.0}, {c, 5.0, 1000.0}}, {1, -3, 8, 2}),
        // Out of order.
        handMade({{a, 9.0, 1000.0}, {b, 4.0, 3000.0}}, {-6, 0, 6}),
        // Missing and extra gains; negative fade.
        handMade({{a, 3.0, 1000.0}, {b, 6.0, -500.0}}, {2}), handMade({{a, 3.0, 1000.0}}, {2, 4, 9}),
        handMade({{a, 2.0, 0.0}, {b, 4.0, 6000.0}}, {1, -3, 8}), // the last zone reaches back past the first
    };
    for (const SegmentEditSnapshot& e : odd) {
        ASSERT_TRUE(bitIdentical(computeGainEnvelope(e, -1.5, 1000, 20000, 16),
                                 envelopeByDefinition(e, -1.5, 1000, 20000, 16)));
    }
    for (double t : {4.5, 10.0})
        EXPECT_EQ(gainOffsetAtTime(odd[2], t), 0.0) << "a missing gain counts as 0 dB";
}
