#include "analysis/AnalysisResult.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>

namespace {

constexpr double loud = -10.0;  // loudest20sLUFS
constexpr double quiet = -30.0; // more than 12 dB below it

// A 3-second curve as the analyzer lays it out: a point every 0.1 s from
// 1.5 s to duration − 1.5 s, each at level(t).
AnalysisResult curve(double duration, const std::function<double(double)>& level) {
    AnalysisResult r;
    r.duration = duration;
    r.loudest20sLUFS = loud;
    for (int i = 15; i / 10.0 <= duration - 1.5 + 1e-9; ++i) {
        const double t = i / 10.0;
        r.times.push_back(t);
        r.loudnessCurve.push_back(level(t));
    }
    return r;
}

std::function<double(double)> quietBetween(double from, double to) {
    return [=](double t) { return t >= from - 1e-9 && t <= to + 1e-9 ? quiet : loud; };
}

} // namespace

TEST(SoftPassages, ShortFilesHaveNone) {
    EXPECT_TRUE(curve(15.0, [](double) { return quiet; }).softPassageRanges().empty());
    AnalysisResult single = curve(60.0, [](double) { return quiet; });
    single.times.resize(1);
    single.loudnessCurve.resize(1);
    EXPECT_TRUE(single.softPassageRanges().empty());

    // A 16-second file: only passages starting before 1.0 s, cut at 1.0 s.
    const auto all = curve(16.0, [](double) { return quiet; }).softPassageRanges();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0], (TimeRange{0.0, 1.0}));
    EXPECT_TRUE(curve(16.0, quietBetween(2.6, 14.5)).softPassageRanges().empty());
}

// Runs of at least 7 s of points are padded by 1.5 s on each side, cut at
// the last 15 s, and never merged; a point at the threshold ends a run.
TEST(SoftPassages, RunsArePaddedCutAndKeptApart) {
    const auto ranges = [](const AnalysisResult& r) { return r.softPassageRanges(); };
    using Ranges = std::vector<TimeRange>;
    EXPECT_EQ(ranges(curve(60.0, quietBetween(20.0, 27.0))), (Ranges{{18.5, 28.5}}));
    EXPECT_TRUE(ranges(curve(60.0, quietBetween(20.0, 26.9))).empty());
    EXPECT_EQ(ranges(curve(60.0, quietBetween(40.0, 60.0))), (Ranges{{38.5, 45.0}}));
    EXPECT_TRUE(ranges(curve(60.0, quietBetween(46.5, 60.0))).empty());

    auto r = curve(60.0, quietBetween(20.0, 30.0));
    ASSERT_EQ(ranges(r).size(), 1u);
    r.loudnessCurve[static_cast<size_t>(std::find(r.times.begin(), r.times.end(), 25.0) - r.times.begin())] =
        loud - 12.0;
    EXPECT_TRUE(ranges(r).empty()) << "two runs of 5 s each";

    auto apart = curve(90.0, quietBetween(10.0, 30.0));
    apart.loudnessCurve[186] = loud; // 20.1 s
    const auto two = ranges(apart);
    ASSERT_EQ(two.size(), 2u);
    EXPECT_EQ(two[0].start, 8.5);
    EXPECT_DOUBLE_EQ(two[0].end, 21.5);
    EXPECT_DOUBLE_EQ(two[1].start, 18.7);
    EXPECT_EQ(two[1].end, 31.5);
}
