#include "EditFixtures.h"

#include <cmath>
#include <limits>

using namespace SegmentEditModel;

TEST(SegmentEditModelTest, InitialAndResetStateHaveOneSegmentAndNoEdits) {
    SegmentEditSnapshot e = SegmentEditSnapshot::initial();
    EXPECT_TRUE(e.separators.empty());
    ASSERT_EQ(offsetsOf(e), std::vector<double>{0.0});
    EXPECT_FALSE(e.segmentGains[0].id.isNull());
    EXPECT_NE(e.segmentGains[0].id, SegmentEditSnapshot::initial().segmentGains[0].id);
    EXPECT_FALSE(hasEdits(e));

    setSegmentGain(e, 0, 1.0);
    EXPECT_TRUE(hasEdits(e));
    setSegmentGain(e, 0, 0.0);
    EXPECT_FALSE(hasEdits(e));
    setSegmentGain(e, 0, -0.0); // -0.0 == 0.0
    EXPECT_FALSE(hasEdits(e));
    ASSERT_TRUE(addSeparator(e, 10.0));
    EXPECT_TRUE(hasEdits(e)) << "a separator alone is an edit";
}

TEST(SegmentEditModelTest, AddRejectsNearStartAndNearOtherSeparators) {
    SegmentEditSnapshot e = SegmentEditSnapshot::initial();
    for (double t : {2.999, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()})
        EXPECT_FALSE(addSeparator(e, t)) << t;
    EXPECT_TRUE(addSeparator(e, 3.0));

    SegmentEditSnapshot ten = editsWith({10.0}, {});
    const SegmentEditSnapshot before = ten;
    EXPECT_FALSE(addSeparator(ten, 12.9));
    EXPECT_FALSE(addSeparator(ten, 7.1));
    EXPECT_EQ(ten, before) << "a rejected add changes nothing";
    SegmentEditSnapshot a = ten, b = ten;
    EXPECT_TRUE(addSeparator(a, 13.0));
    EXPECT_TRUE(addSeparator(b, 7.0));
    EXPECT_EQ(timesOf(b), (std::vector<double>{7.0, 10.0}));
    EXPECT_EQ(b.separators[0].fadeDurationMs, 500.0);
    // No end limit when adding.
    EXPECT_TRUE(addSeparator(a, 1e6));
}

TEST(SegmentEditModelTest, SplitKeepsLeftRecordAndMergeKeepsLeftGain) {
    SegmentEditSnapshot e = editsWith({10.0, 30.0}, {-2.0, 4.0, 1.0});
    const SegmentEditSnapshot original = e;
    ASSERT_TRUE(addSeparator(e, 20.0));
    EXPECT_EQ(timesOf(e), (std::vector<double>{10.0, 20.0, 30.0}));
    EXPECT_EQ(offsetsOf(e), (std::vector<double>{-2.0, 4.0, 4.0, 1.0}));
    EXPECT_EQ(e.segmentGains[1].id, original.segmentGains[1].id) << "left half keeps the record";
    EXPECT_NE(e.segmentGains[2].id, original.segmentGains[1].id);
    EXPECT_EQ(e.segmentGains[3].id, original.segmentGains[2].id);
    EXPECT_EQ(e.separators[0], original.separators[0]);
    EXPECT_EQ(e.separators[2], original.separators[1]);

    removeSeparator(e, e.separators[1].id);
    EXPECT_EQ(e, original) << "removing the new separator restores the records";

    SegmentEditSnapshot left = original;
    removeSeparator(left, original.separators[0].id);
    EXPECT_EQ(timesOf(left), (std::vector<double>{30.0}));
    EXPECT_EQ(offsetsOf(left), (std::vector<double>{-2.0, 1.0}));
    EXPECT_EQ(left.segmentGains[0].id, original.segmentGains[0].id);

    SegmentEditSnapshot right = original;
    removeSeparator(right, original.separators[1].id);
    EXPECT_EQ(timesOf(right), (std::vector<double>{10.0}));
    EXPECT_EQ(offsetsOf(right), (std::vector<double>{-2.0, 4.0}));

    SegmentEditSnapshot unknown = original;
    removeSeparator(unknown, QUuid::createUuid());
    removeSeparator(unknown, original.segmentGains[0].id); // a gain id is no separator id
    EXPECT_EQ(unknown, original);
}

TEST(SegmentEditModelTest, MoveClampsBetweenNeighboursAndFileEnds) {
    const auto movedOnly = [](double to, double duration) {
        SegmentEditSnapshot e = editsWith({10.0}, {});
        moveSeparator(e, e.separators[0].id, to, duration);
        return e.separators[0].timeSeconds;
    };
    EXPECT_EQ(movedOnly(1.0, 60.0), 3.0);
    EXPECT_EQ(movedOnly(59.0, 60.0), 57.0);
    EXPECT_EQ(movedOnly(25.5, 60.0), 25.5);
    EXPECT_EQ(movedOnly(25.0, 0.0), 3.0) << "unknown duration: the lower bound wins";
    EXPECT_EQ(movedOnly(4.0, 5.0), 3.0) << "a file shorter than the margins";
    EXPECT_EQ(movedOnly(std::numeric_limits<double>::quiet_NaN(), 60.0), 10.0);
    EXPECT_EQ(movedOnly(-std::numeric_limits<double>::infinity(), 60.0), 3.0);

    const auto movedMiddle = [](double to) {
        SegmentEditSnapshot e = editsWith({10.0, 20.0, 30.0}, {1.0, 2.0, 3.0, 4.0});
        const SegmentEditSnapshot before = e;
        moveSeparator(e, e.separators[1].id, to, 60.0);
        EXPECT_EQ(e.segmentGains, before.segmentGains);
        EXPECT_EQ(e.separators[1].fadeDurationMs, before.separators[1].fadeDurationMs);
        EXPECT_EQ(e.separators[1].id, before.separators[1].id);
        return timesOf(e);
    };
    EXPECT_EQ(movedMiddle(11.0), (std::vector<double>{10.0, 13.0, 30.0}));
    EXPECT_EQ(movedMiddle(29.0), (std::vector<double>{10.0, 27.0, 30.0}));
    EXPECT_EQ(movedMiddle(-50.0), (std::vector<double>{10.0, 13.0, 30.0}));

    // A separator added within 3 s of the end snaps back inside on its first move.
    SegmentEditSnapshot nearEnd = editsWith({58.5}, {});
    moveSeparator(nearEnd, nearEnd.separators[0].id, 58.5, 60.0);
    EXPECT_EQ(nearEnd.separators[0].timeSeconds, 57.0);
}

TEST(SegmentEditModelTest, GainAndFadeSettersCheckIndexesAndClamp) {
    SegmentEditSnapshot e = editsWith({10.0}, {});
    const QUuid id = e.separators[0].id;
    const auto fadeAfter = [&](const QUuid& which, double ms) {
        setFadeDuration(e, which, ms);
        return e.separators[0].fadeDurationMs;
    };
    EXPECT_EQ(fadeAfter(id, -10.0), 0.0);
    EXPECT_EQ(fadeAfter(id, 9000.0), 5000.0);
    EXPECT_EQ(fadeAfter(id, 1234.5), 1234.5);
    EXPECT_EQ(fadeAfter(id, std::numeric_limits<double>::quiet_NaN()), 1234.5);
    EXPECT_EQ(fadeAfter(QUuid::createUuid(), 100.0), 1234.5);

    setSegmentGain(e, 1, 40.0); // not limited by the model
    setSegmentGain(e, 2, 5.0);
    setSegmentGain(e, -1, 5.0);
    setSegmentGain(e, 0, std::numeric_limits<double>::infinity());
    EXPECT_EQ(offsetsOf(e), (std::vector<double>{0.0, 40.0}));

    // Which segment a time falls in, and where each segment lies.
    const SegmentEditSnapshot two = editsWith({10.0, 20.0}, {});
    std::vector<int64_t> indexes;
    for (double t : {9.99, 10.0, 19.99, 20.0, 100.0, -5.0})
        indexes.push_back(segmentIndex(two, t));
    EXPECT_EQ(indexes, (std::vector<int64_t>{0, 1, 1, 2, 2, 0}));
    const auto bounds = [&](int64_t i) {
        const SegmentBounds b = segmentBounds(two, i, 30.0);
        return std::pair{b.start, b.end};
    };
    EXPECT_EQ(bounds(0), std::pair(0.0, 10.0));
    EXPECT_EQ(bounds(1), std::pair(10.0, 20.0));
    EXPECT_EQ(bounds(2), std::pair(20.0, 30.0));
    EXPECT_EQ(bounds(7), std::pair(20.0, 30.0)) << "out-of-range indexes are clamped";
    EXPECT_EQ(bounds(-3), std::pair(0.0, 10.0));
}

TEST(SegmentEditModelTest, InvariantCheckCatchesEachBrokenRule) {
    const SegmentEditSnapshot good = editsWith({10.0, 20.0}, {});
    EXPECT_TRUE(satisfiesInvariants(good));
    auto broken = [&](auto change) {
        SegmentEditSnapshot e = good;
        change(e);
        return !satisfiesInvariants(e);
    };
    EXPECT_TRUE(broken([](SegmentEditSnapshot& e) { e.segmentGains.pop_back(); }));
    EXPECT_TRUE(broken([](SegmentEditSnapshot& e) { std::swap(e.separators[0], e.separators[1]); }));
    EXPECT_TRUE(broken([](SegmentEditSnapshot& e) { e.separators[0].timeSeconds = 2.5; }));
    EXPECT_TRUE(broken([](SegmentEditSnapshot& e) { e.separators[1].timeSeconds = 12.9; }));
    EXPECT_TRUE(broken([](SegmentEditSnapshot& e) { e.separators[1].fadeDurationMs = 5000.1; }));
    EXPECT_TRUE(broken([](SegmentEditSnapshot& e) { e.separators[1].fadeDurationMs = -1.0; }));
    EXPECT_TRUE(broken(
        [](SegmentEditSnapshot& e) { e.segmentGains[0].gainOffsetDB = std::numeric_limits<double>::quiet_NaN(); }));
}
