#pragma once

// One "Export All" as plain steps: the clipping guard before it, the jobs it
// builds from the working list with their names decided together, and the
// run that exports them one per core at a time. A file that cannot be
// exported is skipped with its reason and the others go on; a cancelled run
// stops every job, keeps the finished files and leaves nothing else.

#include "export/ExportPipeline.h"
#include "io/Error.h"
#include "jobs/JobRunner.h"

#include <atomic>
#include <functional>
#include <optional>
#include <vector>

namespace ExportRun {

struct Plan {
    std::vector<ExportJob> jobs;
    // Every listed file, analysed or not: no output may take one's name.
    QStringList sources;
    int64_t count() const { return static_cast<int64_t>(jobs.size()); }
};

// Gives every job a stem of its own, distinct within the batch and
// shortened to what the folder's file system takes.
void nameJobs(Plan& plan, const ExportSettings& settings);

// The outputs that would take the name of a file already in the folder,
// those up to date left out when the settings skip them.
QStringList existingOutputs(const Plan& plan, const ExportSettings& settings);

// How one file ended.
struct FileResult {
    QString sourcePath;
    std::optional<ExportedFile> written;
    std::optional<Error> error;           // why it was not written; none when it was or the run was cancelled
    std::optional<QString> upToDate = {}; // the output kept as it was, newer than its source
};

struct Summary {
    std::vector<FileResult> files; // in job order
    bool cancelled = false;
    std::optional<Error> error; // what kept the whole run from starting (the folder)
    int64_t writtenCount() const;
    int64_t failedCount() const;
    int64_t upToDateCount() const;
};

// Progress: files finished, and the share of the ones running added.
using Progress = std::function<void(int64_t finished, double done)>;

// Starts the plan's jobs on `runner` and returns at once; `done` gets the
// summary on the thread that ends the run. `progress` is called from the
// workers, one call at a time. Stopping the batch cancels the run: the
// running jobs stop and remove their files, the finished ones stay.
JobRunner::Batch start(JobRunner& runner, Plan plan, ExportSettings settings, Progress progress,
                       std::function<void(Summary)> done);

} // namespace ExportRun
