#pragma once

// One "Export All": the clipping guard before it, the jobs it builds from the
// working list, and the run that renders files with segment edits, then hands
// the others to the encoder, reporting each step in the status line.

#include "export/FFmpegExporter.h"
#include "export/InAppRenderer.h"
#include "list/AppState.h"

#include <optional>
#include <vector>

namespace ExportRun {

// The analysed files whose corrected peak, with their largest segment offset,
// would pass full scale by more than this; listed with the overshoot.
inline constexpr double clippingToleranceDB = 0.1;
std::vector<ClippingFile> findClippingFiles(const std::vector<AudioFileItemPtr>& files);

// The highest target at which no file's peak passes full scale when every
// correction is automatic and no segment is raised: the smallest
// peakLUFS − peakDBFS. None without analysed files.
std::optional<double> computeSafeTarget(const std::vector<AudioFileItemPtr>& files);

struct Plan {
    std::vector<RenderJob> renderJobs;
    std::vector<FFmpegExporter::ExportJob> exportJobs;
    int64_t count() const { return static_cast<int64_t>(renderJobs.size() + exportJobs.size()); }
};

// One job per analysed file, in list order: files with segment edits are
// rendered (with a copy of their edits), the others go to the encoder.
Plan buildPlan(const std::vector<AudioFileItemPtr>& files, const QString& destinationFolder,
               ExportFormat format, SampleRate rate, bool useLimiter);

// The first output name of the plan that is one of `sources` (the same file,
// compared by device and inode, so through links too), as an error text;
// none when all is safe.
std::optional<QString> findReplacedSource(const Plan& plan, const std::vector<AudioFileItemPtr>& sources);

// Starts the run into `chosenFolder`/normalized and returns at once. An empty
// `ffmpegPath` looks for the encoder; tests pass their own.
void start(AppState& state, bool useLimiter, const QString& chosenFolder,
           const QString& ffmpegPath = QString());

} // namespace ExportRun
