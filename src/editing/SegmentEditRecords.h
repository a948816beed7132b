#pragma once

// The value records of a file's segment edits: separators that cut the file
// into segments, one gain offset per segment, and a copy of both lists that
// undo steps and background workers hold.

#include <QUuid>
#include <vector>

struct Separator {
    QUuid id;
    double timeSeconds = 0.0;
    // Full length of the gain fade, centred on timeSeconds.
    double fadeDurationMs = 0.0;

    friend bool operator==(const Separator&, const Separator&) = default;
};

struct SegmentGain {
    QUuid id;
    // Added to the file's correction; 0 leaves the segment unchanged.
    double gainOffsetDB = 0.0;

    friend bool operator==(const SegmentGain&, const SegmentGain&) = default;
};

// Both lists by value. A snapshot built by the edit model always has one more
// gain than separators; one put together by hand should keep that shape too,
// though the gain evaluation treats a missing gain as 0 dB rather than fail.
struct SegmentEditSnapshot {
    std::vector<Separator> separators;
    std::vector<SegmentGain> segmentGains;

    // No separators and a single segment at 0 dB with a fresh id.
    static SegmentEditSnapshot initial();

    friend bool operator==(const SegmentEditSnapshot&, const SegmentEditSnapshot&) = default;
};
