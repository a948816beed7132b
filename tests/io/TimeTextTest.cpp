#include "io/TimeText.h"

#include <gtest/gtest.h>

TEST(TimeTextTest, EachRuleAtItsEdges) {
    // The playhead takes the minutes before rounding the rest.
    EXPECT_EQ(TimeText::playhead(5.04), "0:05.0");
    EXPECT_EQ(TimeText::playhead(75.3), "1:15.3");
    EXPECT_EQ(TimeText::playhead(3600), "60:00.0");
    EXPECT_EQ(TimeText::playhead(-3), "0:00.0");
    EXPECT_EQ(TimeText::playhead(59.97), "0:60.0");
    EXPECT_EQ(TimeText::axisLabel(65), "1:05");
    // The report rounds to tenths first and shows hours.
    EXPECT_EQ(TimeText::report(59.96), "1:00.0");
    EXPECT_EQ(TimeText::report(83.54), "1:23.5");
    EXPECT_EQ(TimeText::report(3725.0), "1:02:05.0");
    EXPECT_EQ(TimeText::report(-1.0), "0:00.0");
}
