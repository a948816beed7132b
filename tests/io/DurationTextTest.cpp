#include "io/DurationText.h"

#include <gtest/gtest.h>

TEST(DurationTextTest, RoundsToTenthsFirstAndShowsHours) {
    EXPECT_EQ(durationText(59.96), "1:00.0");
    EXPECT_EQ(durationText(83.54), "1:23.5");
    EXPECT_EQ(durationText(3725.0), "1:02:05.0");
    EXPECT_EQ(durationText(-1.0), "0:00.0");
}
