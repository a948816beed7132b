#include "export/Quantizer.h"

#include <gtest/gtest.h>
#include <set>
#include <vector>

// Without dither a sample lands on the nearest step, halves to even, and
// the range's ends hold instead of wrapping. With triangular dither of one
// step, the mean written follows a level between steps (no offset), no
// sample lands a step and a half away, and a file gets the same noise every time.
TEST(QuantizerTest, RoundsToTheGridHoldsTheRangeAndDithersWithoutBias) {
    const float step = 1.0f / 32768;
    std::vector<float> in{0.0f, 0.4f * step, 0.6f * step, 2.5f * step, 3.5f * step, -2.5f * step, 1.0f, -1.0f, -1.5f};
    Quantizer(16, false).process(in.data(), static_cast<int64_t>(in.size()));
    EXPECT_EQ(in, (std::vector<float>{0, 0, step, 2 * step, 4 * step, -2 * step, 32767 * step, -1, -1}));
    std::vector<float> wide{0.6f / 8388608, 1.0f};
    Quantizer(24, false).process(wide.data(), 2);
    EXPECT_EQ(wide, (std::vector<float>{1.0f / 8388608, 8388607.0f / 8388608}));

    for (double level : {0.0, 0.3, -0.7}) {
        std::vector<float> a(200000, static_cast<float>(level) * step), b = a;
        Quantizer(16, true).process(a.data(), static_cast<int64_t>(a.size()));
        Quantizer(16, true).process(b.data(), static_cast<int64_t>(b.size()));
        EXPECT_EQ(a, b);
        double sum = 0, farthest = 0;
        for (float x : a)
            sum += x / step, farthest = std::max(farthest, std::abs(x / step - level));
        EXPECT_NEAR(sum / static_cast<double>(a.size()), level, 0.01) << level;
        EXPECT_LE(farthest, 1.5);
        EXPECT_GE(std::set<float>(a.begin(), a.end()).size(), 3u) << level;
    }
}
