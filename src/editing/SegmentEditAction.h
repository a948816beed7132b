#pragma once

// What the segment edit overlay asks of the window, one gesture at a time.
// A continuous drag is bracketed by DragBegan and DragEnded so that it
// becomes one undo step.

#include <QUuid>
#include <cstdint>
#include <variant>

namespace SegmentEditActions {
struct AddSeparator {
    double time;
};
struct RemoveSeparator {
    QUuid id;
};
struct MoveSeparator {
    QUuid id;
    double time;
};
struct SetSegmentGain {
    int64_t index;
    double gainOffsetDB;
};
struct ResetSegmentGain {
    int64_t index;
};
struct SetFadeDuration {
    QUuid separatorID;
    double durationMs;
};
struct ResetAll {};
struct DragBegan {};
struct DragEnded {};
} // namespace SegmentEditActions

using SegmentEditAction =
    std::variant<SegmentEditActions::AddSeparator, SegmentEditActions::RemoveSeparator,
                 SegmentEditActions::MoveSeparator, SegmentEditActions::SetSegmentGain,
                 SegmentEditActions::ResetSegmentGain, SegmentEditActions::SetFadeDuration,
                 SegmentEditActions::ResetAll, SegmentEditActions::DragBegan, SegmentEditActions::DragEnded>;
