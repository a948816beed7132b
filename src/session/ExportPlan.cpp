#include "session/ExportPlan.h"

#include "editing/SegmentEditModel.h"
#include "io/NativePath.h"

#include <QHash>
#include <algorithm>

namespace ExportPlan {

QString safeTargetTip(double safeTargetLUFS) {
    return QString::asprintf("Tip: Set target to %.1f LUFS or lower to keep every true peak under the ceiling.",
                             safeTargetLUFS);
}

QString clippingHeadline(size_t count, double ceilingDBTP) {
    return QStringLiteral("%1 file(s) will pass the %2 dBTP ceiling after correction:")
        .arg(count)
        .arg(ceilingDBTP, 0, 'f', 1);
}

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
        const double largest = SegmentEditModel::largestGainOffsetDB(file->segmentEdits().segmentGains());
        const double value = *file->aimedFigureLUFS() -
                             SegmentEditModel::correctedPeakDBFS(file->analysis()->truePeakDBTP, 0.0, largest) +
                             ceilingDBTP;
        safe = safe ? std::min(*safe, value) : value;
    }
    return safe;
}

namespace {

// Without the limiter, an album whose loudest true peak would pass the
// ceiling is lowered as a whole, by that much, so that its balance holds
// where each file on its own would be lowered by its own overshoot.
void lowerAlbumsUnderCeiling(ExportRun::Plan& plan, const std::vector<AudioFileItemPtr>& files, double ceilingDBTP) {
    QHash<QString, double> overshoot;
    QHash<QString, QString> albumOf; // by source path
    for (const AudioFileItemPtr& file : files) {
        if (!file->album() || !file->analysis() || file->analysis()->isSilent())
            continue;
        const QString& key = file->album()->key;
        albumOf[file->path()] = key;
        overshoot[key] = std::max(overshoot.value(key, 0.0), -*file->headroomDB(ceilingDBTP));
    }
    for (ExportJob& job : plan.jobs) {
        const double down = overshoot.value(albumOf.value(job.sourcePath), 0.0);
        if (down > 0.0 && !job.isSilent)
            job.correctionDB -= down, job.promisedLUFS -= down;
    }
}

} // namespace

ExportRun::Plan buildPlan(const std::vector<AudioFileItemPtr>& files, const ExportSettings& settings) {
    ExportRun::Plan plan;
    for (const AudioFileItemPtr& file : files) {
        plan.sources << file->path();
        if (!file->analysis())
            continue;
        ExportJob job;
        job.sourcePath = file->path();
        job.subfolder = file->subfolder();
        job.correctionDB = file->correctionDB();
        job.promisedLUFS = *file->finalLUFS();
        job.isSilent = file->analysis()->isSilent();
        if (file->segmentEdits().hasEdits())
            job.segmentEdits = file->segmentEdits().snapshot();
        if (settings.format == ExportFormat::same) {
            job.format = sameFormatAs(file->analysis()->source);
            if (file->analysis()->source.codec == "mp3")
                job.bitRate = sameBitRate(file->analysis()->source);
        }
        plan.jobs.push_back(std::move(job));
    }
    if (!settings.useLimiter)
        lowerAlbumsUnderCeiling(plan, files, settings.ceilingDBTP);
    ExportRun::nameJobs(plan, settings);
    return plan;
}

} // namespace ExportPlan
