#include "EditFixtures.h"

#include "editing/SegmentEditState.h"
#include "editing/SegmentGainEvaluation.h"

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

TEST(SegmentEditStateTest, SnapshotIsACopyAndRestoreAssignsBothListsWholesale) {
    SegmentEditState state;
    SignalCounts counts(state);
    state.addSeparator(10.0);
    state.addSeparator(30.0);
    state.setSegmentGain(1, 3.0);
    const SegmentEditSnapshot before = state.snapshot();

    state.removeSeparator(before.separators[0].id);
    state.setSegmentGain(0, -9.0);
    EXPECT_EQ(before.separators.size(), 2u) << "the snapshot does not follow the state";
    counts.take();

    // Observers only ever see whole, consistent lists.
    QObject::connect(&state, &SegmentEditState::separatorsChanged,
                     [&] { EXPECT_EQ(state.segmentGains().size(), state.separators().size() + 1); });
    ASSERT_TRUE(state.restore(before));
    EXPECT_EQ(state.snapshot(), before) << "ids included";
    EXPECT_EQ(counts.take(), std::pair(1, 1));

    SegmentEditSnapshot broken = before;
    broken.segmentGains.pop_back();
    EXPECT_FALSE(state.restore(broken));
    EXPECT_EQ(state.snapshot(), before);
    EXPECT_EQ(counts.take(), std::pair(0, 0));
}

TEST(SegmentEditStateTest, QueriesAnswerLikeTheValueFunctions) {
    SegmentEditState state;
    state.addSeparator(10.0);
    state.addSeparator(20.0);
    state.setSegmentGain(1, 6.0);
    state.setFadeDuration(state.separators()[1].id, 2000.0);
    const SegmentEditSnapshot copy = state.snapshot();

    EXPECT_EQ(state.segmentIndex(15.0), 1);
    EXPECT_EQ(state.segmentBounds(2, 42.0).end, 42.0);
    for (double t : {0.0, 9.9, 10.0, 19.5, 20.2, 50.0}) {
        EXPECT_EQ(state.gainOffsetAtTime(t, 0.0), SegmentGainEvaluation::gainOffsetAtTime(copy, t));
        EXPECT_EQ(state.gainAtTime(t, -4.0, 60.0), SegmentGainEvaluation::gainAtTime(copy, t, -4.0));
    }
    EXPECT_DOUBLE_EQ(state.gainAtTime(19.5, -4.0, 60.0), -4.0 + 6.0 * 0.75);
    EXPECT_EQ(state.computeGainEnvelope(-4.0, 48000, 48000 * 30, 512),
              SegmentGainEvaluation::computeGainEnvelope(copy, -4.0, 48000, 48000 * 30));
}
