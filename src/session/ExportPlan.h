#pragma once

// What an export of the listed files would do: the jobs it takes from the
// list, and which files the clipping guard warns about before it starts.

#include "export/ExportRun.h"
#include "session/AudioFileItem.h"

#include <optional>
#include <vector>

// A file whose corrected true peak would pass the ceiling, and by how many dB.
struct ClippingFile {
    QString fileName;
    double overshootDB = 0.0;
    friend bool operator==(const ClippingFile&, const ClippingFile&) = default;
};

namespace ExportPlan {

// The analysed files whose corrected true peak, with their largest segment
// offset, would pass the ceiling by more than the clipping tolerance; listed
// with the overshoot.
std::vector<ClippingFile> findClippingFiles(const std::vector<AudioFileItemPtr>& files, double ceilingDBTP);

// The highest target at which no file's true peak passes the ceiling when
// every correction is automatic, counting each file's largest segment gain
// as its headroom does: the smallest figure − (true peak + largest segment
// gain), plus the ceiling. None without analysed files.
std::optional<double> computeSafeTarget(const std::vector<AudioFileItemPtr>& files, double ceilingDBTP);

// The guard's words, the same in the window's warning and on the command
// line. "2 file(s) will pass the -1.0 dBTP ceiling after correction:"
QString clippingHeadline(size_t count, double ceilingDBTP);
// "Tip: Set target to -15.3 LUFS or lower to keep every true peak under the ceiling."
QString safeTargetTip(double safeTargetLUFS);

// One job per analysed file, in list order, with a copy of its edits and a
// stem of its own.
ExportRun::Plan buildPlan(const std::vector<AudioFileItemPtr>& files, const ExportSettings& settings);

} // namespace ExportPlan
