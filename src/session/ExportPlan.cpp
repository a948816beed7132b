#include "session/ExportPlan.h"

#include "io/NativePath.h"

#include <algorithm>

namespace ExportPlan {

std::vector<ClippingFile> findClippingFiles(const std::vector<AudioFileItemPtr>& files, double ceilingDBTP) {
    std::vector<ClippingFile> clipping;
    for (const AudioFileItemPtr& file : files) {
        if (file->wouldClip(ceilingDBTP))
            clipping.push_back({NativePath::shownName(file->path()), -*file->headroomDB(ceilingDBTP)});
    }
    return clipping;
}

std::optional<double> computeSafeTarget(const std::vector<AudioFileItemPtr>& files, double ceilingDBTP) {
    std::optional<double> safe;
    for (const AudioFileItemPtr& file : files) {
        if (!file->analysis() || file->analysis()->isSilent())
            continue;
        const double value = *file->figureLUFS() - file->analysis()->truePeakDBTP + ceilingDBTP;
        safe = safe ? std::min(*safe, value) : value;
    }
    return safe;
}

ExportRun::Plan buildPlan(const std::vector<AudioFileItemPtr>& files, const ExportSettings& settings) {
    ExportRun::Plan plan;
    for (const AudioFileItemPtr& file : files) {
        plan.sources << file->path();
        if (!file->analysis())
            continue;
        ExportJob job;
        job.sourcePath = file->path();
        job.correctionDB = file->correctionDB();
        job.promisedLUFS = *file->finalLUFS();
        job.isSilent = file->analysis()->isSilent();
        if (file->segmentEdits().hasEdits())
            job.segmentEdits = file->segmentEdits().snapshot();
        plan.jobs.push_back(std::move(job));
    }
    ExportRun::nameJobs(plan, settings);
    return plan;
}

} // namespace ExportPlan
