#include "export/ExportRun.h"

#include "export/ExportErrors.h"
#include "export/MainThread.h"
#include "export/ParallelJobs.h"
#include "io/FFmpegLocator.h"
#include "io/FileError.h"
#include "io/FileIdentity.h"
#include "io/TemporaryFile.h"

#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <QThread>
#include <QThreadPool>
#include <algorithm>

namespace ExportRun {

namespace {

QString describeError(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const DescribedError& e) {
        return e.description();
    } catch (const std::exception& e) {
        return QString::fromLocal8Bit(e.what());
    } catch (...) {
        return QStringLiteral("Unexpected error");
    }
}

// Every state change of a run goes through here, on the main thread; a state
// that no longer exists is left alone.
void onMain(const QPointer<AppState>& state, std::function<void(AppState&)> change) {
    postToMainThread([state, change = std::move(change)] {
        if (state)
            change(*state);
    });
}

void finish(AppState& state, const Result& result) {
    state.setIsExporting(false);
    state.setExportProgress({0, 0});
    state.setStatusMessage(describe(result));
}

int threadsForJobs() { return std::max(1, QThread::idealThreadCount()); }

} // namespace

std::vector<ClippingFile> findClippingFiles(const std::vector<AudioFileItemPtr>& files) {
    std::vector<ClippingFile> clipping;
    for (const AudioFileItemPtr& file : files) {
        if (file->wouldClip())
            clipping.push_back({QFileInfo(file->path()).fileName(), -*file->headroomDB()});
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

Plan buildPlan(const std::vector<AudioFileItemPtr>& files, const QString& destinationFolder,
               ExportFormat format, SampleRate rate, bool useLimiter) {
    Plan plan;
    for (const AudioFileItemPtr& file : files) {
        if (!file->analysis())
            continue;
        const double finalLUFS = file->correctionDB() + file->analysis()->peakLUFS;
        const ExportJob job{file->path(), file->correctionDB(), finalLUFS, destinationFolder,
                            format, rate, useLimiter, file->analysis()->peakDBFS};
        if (file->segmentEdits().hasEdits())
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
                    .arg(QFileInfo(output).fileName(), QFileInfo(output).absolutePath());
            }
        }
    }
    return std::nullopt;
}

QString describe(const Result& result) {
    if (!result.error.isEmpty())
        return QStringLiteral("Export error: ") + result.error;
    QStringList held;
    for (const ExportedFile& file : result.files) {
        if (file.offTarget)
            held << QStringLiteral("%1 at %2 LUFS").arg(QFileInfo(file.path).fileName(),
                                                       QString::asprintf("%.1f", file.loudnessLUFS));
    }
    if (held.isEmpty())
        return QStringLiteral("Export complete!");
    return QStringLiteral("Export complete! The limiter's ceiling keeps %1 below target: %2")
        .arg(held.size() == 1 ? QStringLiteral("1 file") : QStringLiteral("%1 files").arg(held.size()),
             held.join(QStringLiteral(", ")));
}

void start(AppState& state, bool useLimiter, const QString& chosenFolder, const QString& ffmpegPath,
           Finished finished) {
    if (chosenFolder.isEmpty())
        return;
    const QString destination = QDir(chosenFolder).filePath(QStringLiteral("normalized"));
    Plan plan = buildPlan(state.files(), destination, state.exportFormat(), state.exportSampleRate(),
                          useLimiter);
    if (const auto replaced = findReplacedSource(plan, state.files())) {
        const Result refused{{}, *replaced};
        state.setStatusMessage(describe(refused));
        if (finished)
            finished(refused);
        return;
    }

    const int64_t total = plan.count();
    state.setIsExporting(true);
    state.setExportProgress({0, total});
    state.setStatusMessage(QStringLiteral("Exporting %1 files...").arg(total));

    const QPointer<AppState> weak(&state);
    QThreadPool::globalInstance()->start([weak, plan = std::move(plan), total, ffmpegPath, destination,
                                          finished = std::move(finished)] {
        // What a killed or crashed run left behind; a live run's files are locked.
        TemporaryFiles::removeStale(destination);
        TemporaryFiles::removeStale(QDir::tempPath());
        const InAppRenderer renderer(ffmpegPath);
        const QString ffmpeg = ffmpegPath.isEmpty() ? FFmpegLocator::find() : ffmpegPath;
        const auto rendered = static_cast<int64_t>(plan.renderJobs.size());
        // Edited files first: they take longest, and the encoder's short
        // jobs fill the cores while they run.
        std::vector<ExportedFile> written(static_cast<size_t>(total));
        const std::exception_ptr error = ParallelJobs::run(
            total, threadsForJobs(),
            [&](int64_t i) {
                written[static_cast<size_t>(i)] =
                    i < rendered ? renderer.render(plan.renderJobs[static_cast<size_t>(i)])
                                 : FFmpegExporter::runExport(plan.exportJobs[static_cast<size_t>(i - rendered)], ffmpeg);
            },
            [&](int64_t k) {
                onMain(weak, [k, total](AppState& s) {
                    s.setExportProgress({k, total});
                    s.setStatusMessage(QStringLiteral("Exporting %1/%2...").arg(k).arg(total));
                });
            });
        Result result;
        if (error)
            result.error = describeError(error);
        else
            result.files = std::move(written);
        onMain(weak, [result = std::move(result), finished](AppState& s) {
            finish(s, result);
            if (finished)
                finished(result);
        });
    });
}

} // namespace ExportRun
