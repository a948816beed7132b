#pragma once

// The operations that change and query a file's segment edits, written once
// on the plain value so that the observable state, undo snapshots and the
// copies that playback and export evaluate all share them.
//
// Every operation keeps the invariants: one more gain than separators,
// separators ascending, none before minimumStartSeconds, neighbours at least
// minimumSpacingSeconds apart, fades within 0...maximumFadeMs. Unknown ids,
// out-of-range indexes and non-finite numbers are ignored.

#include "editing/SegmentEditRecords.h"

#include <cstdint>

namespace SegmentEditModel {

inline constexpr double minimumSpacingSeconds = 3.0;
inline constexpr double minimumStartSeconds = 3.0;
// Only moving keeps a separator this far from the end; adding does not check it.
inline constexpr double minimumEndDistanceSeconds = 3.0;
inline constexpr double newSeparatorFadeMs = 500.0;
inline constexpr double minimumFadeMs = 0.0;
inline constexpr double maximumFadeMs = 5000.0;
// The widest offset a segment is given, either way.
inline constexpr double maximumGainOffsetDB = 20.0;

struct SegmentBounds {
    double start = 0.0;
    double end = 0.0;
};

// True with at least one separator or one offset that is not exactly 0 dB.
bool hasEdits(const SegmentEditSnapshot& edits);

// Splits the segment containing `time`; both halves keep its offset, the left
// one its record. Returns false, changing nothing, when the time lies before
// minimumStartSeconds or closer than minimumSpacingSeconds to a separator.
bool addSeparator(SegmentEditSnapshot& edits, double time);

// Merges the two segments beside the separator; the merged one keeps the
// left segment's record.
void removeSeparator(SegmentEditSnapshot& edits, const QUuid& id);

// Moves the separator to `time`, clamped between its neighbours (or the file's
// start and end) with the minimum spacing; when the room is too small the
// lower bound wins.
void moveSeparator(SegmentEditSnapshot& edits, const QUuid& id, double time, double fileDuration);

void setSegmentGain(SegmentEditSnapshot& edits, int64_t index, double gainOffsetDB);

// Stores the fade clamped to minimumFadeMs...maximumFadeMs.
void setFadeDuration(SegmentEditSnapshot& edits, const QUuid& separatorID, double durationMs);

// The index of the segment containing `time`: the first separator later than
// the time, or the number of separators. A time on a separator belongs to the
// segment on its right.
int64_t segmentIndex(const SegmentEditSnapshot& edits, double time);

// Start and end of segment `index` (0 to the number of separators; other
// indexes are clamped into that range).
SegmentBounds segmentBounds(const SegmentEditSnapshot& edits, int64_t index, double fileDuration);

// The largest offset among the gains (it may be negative), or 0 without any.
double largestGainOffsetDB(const std::vector<SegmentGain>& gains);

// A file's peak after its correction and its largest segment offset; its
// headroom is the negative of this.
inline double correctedPeakDBFS(double peakDBFS, double correctionDB, double largestOffsetDB) {
    return peakDBFS + correctionDB + largestOffsetDB;
}

// Whether the lists have the shape every operation keeps. Spacing is checked
// to within a nanosecond, since a clamped move stores neighbour + 3.0 s.
bool satisfiesInvariants(const SegmentEditSnapshot& edits);

} // namespace SegmentEditModel
