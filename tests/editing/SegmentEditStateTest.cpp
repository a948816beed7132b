#include "EditFixtures.h"

#include "editing/SegmentEditState.h"

namespace {

struct SignalCounts {
    int separators = 0;
    int gains = 0;
    explicit SignalCounts(SegmentEditState& s) {
        QObject::connect(&s, &SegmentEditState::separatorsChanged, [this] { ++separators; });
        QObject::connect(&s, &SegmentEditState::segmentGainsChanged, [this] { ++gains; });
    }
    std::pair<int, int> take() { return {std::exchange(separators, 0), std::exchange(gains, 0)}; }
};

} // namespace

TEST(SegmentEditStateTest, EveryChangeOfEitherListIsSignalledAndNoOpsAreNot) {
    SegmentEditState state;
    SignalCounts counts(state);
    EXPECT_FALSE(state.hasEdits());
    EXPECT_EQ(state.segmentGains().size(), 1u);

    EXPECT_TRUE(state.addSeparator(10.0));
    EXPECT_EQ(counts.take(), std::pair(1, 1));
    EXPECT_FALSE(state.addSeparator(11.0));
    EXPECT_EQ(counts.take(), std::pair(0, 0));

    const QUuid id = state.separators()[0].id;
    state.moveSeparator(id, 20.0, 60.0);
    EXPECT_EQ(counts.take(), std::pair(1, 0));
    state.moveSeparator(QUuid::createUuid(), 30.0, 60.0);
    EXPECT_EQ(counts.take(), std::pair(0, 0));

    state.setSegmentGain(1, 4.0);
    EXPECT_EQ(counts.take(), std::pair(0, 1));
    state.setSegmentGain(1, 4.0); // same value: nothing changed
    state.setSegmentGain(5, 1.0);
    EXPECT_EQ(counts.take(), std::pair(0, 0));

    state.setFadeDuration(id, 8000.0);
    EXPECT_EQ(state.separators()[0].fadeDurationMs, 5000.0);
    EXPECT_EQ(counts.take(), std::pair(1, 0));

    state.removeSeparator(id);
    EXPECT_EQ(counts.take(), std::pair(1, 1));
    EXPECT_FALSE(state.hasEdits());

    state.setSegmentGain(0, -2.0);
    counts.take();
    state.resetAll();
    EXPECT_EQ(counts.take(), std::pair(0, 1));
    EXPECT_FALSE(state.hasEdits());
}
