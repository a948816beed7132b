#pragma once

// Small builders shared by the editing tests.

#include "editing/SegmentEditModel.h"

#include <gtest/gtest.h>
#include <vector>

// Separators at the given times (added in order) and the given offsets.
inline SegmentEditSnapshot editsWith(const std::vector<double>& times, const std::vector<double>& offsets) {
    SegmentEditSnapshot e = SegmentEditSnapshot::initial();
    for (double t : times)
        EXPECT_TRUE(SegmentEditModel::addSeparator(e, t)) << t;
    for (size_t i = 0; i < offsets.size(); ++i)
        SegmentEditModel::setSegmentGain(e, static_cast<int64_t>(i), offsets[i]);
    return e;
}

inline std::vector<double> timesOf(const SegmentEditSnapshot& e) {
    std::vector<double> out;
    for (const Separator& s : e.separators)
        out.push_back(s.timeSeconds);
    return out;
}

inline std::vector<double> offsetsOf(const SegmentEditSnapshot& e) {
    std::vector<double> out;
    for (const SegmentGain& g : e.segmentGains)
        out.push_back(g.gainOffsetDB);
    return out;
}
