#pragma once

// Gain over time from a file's segment edits: the offset of the segment at a
// time, moving in a straight line in dB across each separator's fade zone, and
// the per-block linear gain envelope that playback and export multiply into
// the samples. Works on a value copy, so workers can evaluate it off the main
// thread while the user goes on editing.

#include "editing/SegmentEditRecords.h"

#include <cstdint>
#include <vector>

namespace SegmentGainEvaluation {

// Playback and export both apply the envelope in blocks of this many frames.
inline constexpr int64_t blockSize = 512;

// Offset in dB at `time`, fades included, without the file's correction.
// Fade zones are searched in separator order; the first one containing the
// time decides, so where two zones overlap the earlier separator governs.
double gainOffsetAtTime(const SegmentEditSnapshot& edits, double time);

// gainOffsetAtTime at each of `times`; rising times take one pass over the
// separators, so a long curve costs little more than its length.
std::vector<double> gainOffsetsAtTimes(const SegmentEditSnapshot& edits, const std::vector<double>& times);

// baseCorrectionDB plus gainOffsetAtTime.
double gainAtTime(const SegmentEditSnapshot& edits, double time, double baseCorrectionDB);

// One linear gain per block of `blockFrames` frames (the last block may be
// partial), evaluated at the block's centre frame and rounded to the nearest
// float. Empty when there are no frames, or when the rate or block size is
// not positive.
std::vector<float> computeGainEnvelope(const SegmentEditSnapshot& edits, double baseCorrectionDB, int64_t sampleRate,
                                       int64_t totalSamples, int64_t blockFrames = blockSize);

} // namespace SegmentGainEvaluation
