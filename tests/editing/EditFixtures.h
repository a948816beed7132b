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

// Each separator's time, each segment's gain offset.
template <typename Record> std::vector<double> valuesOf(const std::vector<Record>& records, double Record::*field) {
    std::vector<double> out;
    for (const Record& r : records)
        out.push_back(r.*field);
    return out;
}
inline std::vector<double> timesOf(const SegmentEditSnapshot& e) {
    return valuesOf(e.separators, &Separator::timeSeconds);
}
inline std::vector<double> offsetsOf(const SegmentEditSnapshot& e) {
    return valuesOf(e.segmentGains, &SegmentGain::gainOffsetDB);
}
