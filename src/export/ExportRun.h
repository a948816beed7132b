#pragma once

// One "Export All" as plain steps: the clipping guard before it, the jobs it
// builds from the working list, the check that no output replaces a source,
// and the run that renders files with segment edits and hands the others to
// the encoder, one job per core at a time.

#include "export/FFmpegExporter.h"
#include "export/InAppRenderer.h"
#include "io/Outcome.h"
#include "list/AudioFileItem.h"

#include <functional>
#include <optional>
#include <vector>

// A file whose corrected peak would pass full scale, and by how many dB.
struct ClippingFile {
    QString fileName;
    double overshootDB = 0.0;
    friend bool operator==(const ClippingFile&, const ClippingFile&) = default;
};

namespace ExportRun {

// The analysed files whose corrected peak, with their largest segment offset,
// would pass full scale by more than the clipping tolerance; listed with the
// overshoot.
std::vector<ClippingFile> findClippingFiles(const std::vector<AudioFileItemPtr>& files);

// The highest target at which no file's peak passes full scale when every
// correction is automatic and no segment is raised: the smallest
// peakLUFS − peakDBFS. None without analysed files.
std::optional<double> computeSafeTarget(const std::vector<AudioFileItemPtr>& files);

struct Plan {
    std::vector<RenderJob> renderJobs;
    std::vector<ExportJob> exportJobs;
    int64_t count() const { return static_cast<int64_t>(renderJobs.size() + exportJobs.size()); }
};

// One job per analysed file, in list order: files with segment edits (or
// with samples that were not numbers, or a name that is not UTF-8) are
// rendered, with a copy of their edits; the others go to the encoder.
Plan buildPlan(const std::vector<AudioFileItemPtr>& files, const QString& destinationFolder, ExportFormat format,
               SampleRate rate, bool useLimiter);

// The first output name of the plan that is one of `sources` (the same file,
// compared by device and inode, so through links too), as an error text;
// none when all is safe.
std::optional<QString> findReplacedSource(const Plan& plan, const std::vector<AudioFileItemPtr>& sources);

// How a run ended: what it wrote (in job order), or the first error.
// The error is the status line's text after "Export error: ".
using Result = Outcome<std::vector<ExportedFile>>;

// The status line's text for a finished run.
QString describe(const Result& result);

// Runs the plan on a pool of worker threads and returns when every job has
// ended or the first has failed; `progress(k)` is called, from a worker,
// each time k files are done. An empty `ffmpegPath` looks for the encoder.
Result run(const Plan& plan, const QString& ffmpegPath, const std::function<void(int64_t)>& progress);

} // namespace ExportRun
