#include "session/AudioFileItem.h"

#include <gtest/gtest.h>

TEST(AudioFileItemTest, IdentityAndDerivedFigures) {
    const QUrl url = QUrl::fromLocalFile("/music/Song.wav");
    AudioFileItem a(url), b(url);
    EXPECT_FALSE(a == b) << "two items of one URL are different items";
    EXPECT_TRUE(a == a);
    EXPECT_EQ(a.path(), "/music/Song.wav");
    EXPECT_FALSE(a.finalLUFS());
    EXPECT_FALSE(a.headroomDB(-1.0));

    int changes = 0;
    QObject::connect(&a, &AudioFileItem::changed, [&] { ++changes; });
    AnalysisResult r;
    r.loudest20sLUFS = -20.0;
    r.truePeakDBTP = -2.0; // headroom counts from the true peak to the ceiling (-1), not from the sample peak
    r.peakDBFS = -2.5;
    a.setAnalysis(r);
    a.setCorrectionDB(3.0);
    a.setCorrectionDB(3.0); // unchanged: not announced
    EXPECT_EQ(changes, 2);
    EXPECT_DOUBLE_EQ(*a.finalLUFS(), -17.0);
    EXPECT_DOUBLE_EQ(*a.headroomDB(-1.0), 1.0 - 3.0);

    // The largest segment offset counts, also when it is negative.
    a.segmentEdits().addSeparator(10.0);
    a.segmentEdits().setSegmentGain(0, -2.0);
    a.segmentEdits().setSegmentGain(1, 1.5);
    EXPECT_DOUBLE_EQ(*a.headroomDB(-1.0), -3.5);
    a.segmentEdits().setSegmentGain(1, -0.5);
    EXPECT_DOUBLE_EQ(*a.headroomDB(-1.0), 1.0 - 3.0 + 0.5);
    EXPECT_DOUBLE_EQ(*a.finalLUFS(), -17.0) << "segment offsets are not in the final loudness";
    EXPECT_GE(changes, 5) << "segment edits announce a change of the item";
}
