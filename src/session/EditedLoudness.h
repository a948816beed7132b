#pragma once

// How far a file's segment gains move the figure it is normalized by, read
// from its loudness curve: the curve with each point's gain added against the
// curve as measured, each taken as the loudest 20-second stretch (or the
// whole file) with points more than 10 LU under the stretch's mean left out,
// as the relative gate does. The shift rests on a few numbers per second, so
// it is an estimate; an export measures the edited signal itself.

#include "analysis/AnalysisResult.h"
#include "editing/SegmentEditRecords.h"

namespace EditedLoudness {

// In LU; 0 for a silent file or one without edits.
double shiftLU(const AnalysisResult& analysis, const SegmentEditSnapshot& edits, NormalizeBy by);

} // namespace EditedLoudness
