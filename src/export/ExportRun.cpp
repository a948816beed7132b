#include "export/ExportRun.h"

#include "export/ExportErrors.h"
#include "export/ParallelJobs.h"
#include "io/FFmpegLocator.h"
#include "io/FileError.h"
#include "io/FileIdentity.h"
#include "io/NativePath.h"

#include <QDir>
#include <QFileInfo>
#include <QThread>
#include <algorithm>

namespace ExportRun {

namespace {

int threadsForJobs() { return std::max(1, QThread::idealThreadCount()); }

} // namespace

std::vector<ClippingFile> findClippingFiles(const std::vector<AudioFileItemPtr>& files) {
    std::vector<ClippingFile> clipping;
    for (const AudioFileItemPtr& file : files) {
        if (file->wouldClip())
            clipping.push_back({NativePath::shownName(file->path()), -*file->headroomDB()});
    }
    return clipping;
}

std::optional<double> computeSafeTarget(const std::vector<AudioFileItemPtr>& files) {
    std::optional<double> safe;
    for (const AudioFileItemPtr& file : files) {
        if (!file->analysis())
            continue;
        const double value = file->analysis()->peakLUFS - file->analysis()->peakDBFS;
        safe = safe ? std::min(*safe, value) : value;
    }
    return safe;
}

Plan buildPlan(const std::vector<AudioFileItemPtr>& files, const QString& destinationFolder, ExportFormat format,
               SampleRate rate, bool useLimiter) {
    Plan plan;
    for (const AudioFileItemPtr& file : files) {
        if (!file->analysis())
            continue;
        const double finalLUFS = file->correctionDB() + file->analysis()->peakLUFS;
        const ExportJob job{file->path(), file->correctionDB(),      finalLUFS, destinationFolder, format, rate,
                            useLimiter,   file->analysis()->peakDBFS};
        // The encoder would read samples that are not numbers as they are;
        // the renderer reads them as silence, like the analysis did.
        // Nor can it be handed a name that is not UTF-8.
        if (file->segmentEdits().hasEdits() || file->analysis()->nonFiniteSamples > 0 ||
            NativePath::shown(file->path()) != file->path())
            plan.renderJobs.push_back({job, file->segmentEdits().snapshot()});
        else
            plan.exportJobs.push_back(job);
    }
    return plan;
}

std::optional<QString> findReplacedSource(const Plan& plan, const std::vector<AudioFileItemPtr>& sources) {
    // Intermediate files are new files made exclusively, so only the output
    // names can meet a source: by name, hard link or symbolic link.
    QStringList outputs;
    for (const RenderJob& job : plan.renderJobs)
        outputs << outputPath(job);
    for (const ExportJob& job : plan.exportJobs)
        outputs << outputPath(job);
    for (const QString& output : outputs) {
        for (const AudioFileItemPtr& source : sources) {
            if (isSameFile(output, source->path())) {
                return QStringLiteral("\"%1\" in %2 is a source file and would be replaced; "
                                      "choose another folder")
                    .arg(NativePath::shownName(output), QFileInfo(output).absolutePath());
            }
        }
    }
    return std::nullopt;
}

QString describe(const Result& result) {
    if (!result.ok())
        return QStringLiteral("Export error: ") + result.error();
    QStringList held;
    for (const ExportedFile& file : result.value()) {
        if (file.offTarget)
            held << QStringLiteral("%1 at %2 LUFS")
                        .arg(NativePath::shownName(file.path), QString::asprintf("%.1f", file.loudnessLUFS));
    }
    if (held.isEmpty())
        return QStringLiteral("Export complete!");
    return QStringLiteral("Export complete! The limiter's ceiling keeps %1 below target: %2")
        .arg(held.size() == 1 ? QStringLiteral("1 file") : QStringLiteral("%1 files").arg(held.size()),
             held.join(QStringLiteral(", ")));
}

Result run(const Plan& plan, const QString& ffmpegPath, const std::function<void(int64_t)>& progress) {
    const InAppRenderer renderer(ffmpegPath);
    const QString ffmpeg = ffmpegPath.isEmpty() ? FFmpegLocator::find() : ffmpegPath;
    const int64_t total = plan.count();
    const auto rendered = static_cast<int64_t>(plan.renderJobs.size());
    // Edited files first: they take longest, and the encoder's short jobs
    // fill the cores while they run.
    std::vector<ExportedFile> written(static_cast<size_t>(total));
    const std::exception_ptr error = ParallelJobs::run(
        total, threadsForJobs(),
        [&](int64_t i) {
            const auto index = static_cast<size_t>(i);
            written[index] = i < rendered
                                 ? renderer.render(plan.renderJobs[index])
                                 : FFmpegExporter::runExport(plan.exportJobs[index - plan.renderJobs.size()], ffmpeg);
        },
        progress);
    if (error)
        return Result::failure(describeException(error, QStringLiteral("Unexpected error")));
    return written;
}

} // namespace ExportRun
