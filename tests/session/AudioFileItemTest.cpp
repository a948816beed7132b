#include "session/AudioFileItem.h"
#include "session/LoudnessReport.h"

#include <gtest/gtest.h>

TEST(AudioFileItemTest, IdentityAndDerivedFigures) {
    const QUrl url = QUrl::fromLocalFile("/music/Song.wav");
    AudioFileItem a(url), b(url);
    EXPECT_NE(a.id(), b.id()) << "two items of one URL are different items";
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
    EXPECT_EQ(changes, 4) << "the separator and the split of its segment are announced";
    a.segmentEdits().setSegmentGain(0, -2.0);
    a.segmentEdits().setSegmentGain(1, 1.5);
    EXPECT_DOUBLE_EQ(*a.headroomDB(-1.0), -3.5);
    a.segmentEdits().setSegmentGain(1, -0.5);
    EXPECT_DOUBLE_EQ(*a.headroomDB(-1.0), 1.0 - 3.0 + 0.5);
    EXPECT_DOUBLE_EQ(*a.finalLUFS(), -17.0) << "segment offsets are not in the final loudness";
    // A tenth of a dB over the ceiling is not clipping yet.
    a.segmentEdits().resetAll();
    a.setCorrectionDB(2.0);
    EXPECT_TRUE(!a.wouldClip(-0.1) && a.wouldClip(-0.2));
    EXPECT_GE(changes, 5) << "segment edits announce a change of the item";
}

// A preset's limits belong to it: a podcast 1 LU over its -16 LUFS whose
// true peak sits at the -1 dBTP ceiling meets it.
TEST(LoudnessReportTest, APresetsLimitsAreIncluded) {
    FileReport r;
    r.loudest20sLUFS = r.figures.integratedLUFS = -15.0;
    r.truePeakDBTP = -1.0;
    EXPECT_TRUE(LoudnessReport::complianceOf(r, Aim{{}, TargetPreset::podcast})->met);
    r.figures.integratedLUFS = -18.0; // and a mono podcast 1 LU over its -19
    EXPECT_TRUE(LoudnessReport::complianceOf(r, Aim{{}, TargetPreset::podcastMono})->met);
}
