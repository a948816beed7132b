#include "export/ExportRun.h"

#include "export/ExportErrors.h"
#include "export/MainThread.h"
#include "io/FileError.h"
#include "io/FileIdentity.h"
#include "io/TemporaryFile.h"

#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <QThreadPool>
#include <algorithm>

namespace ExportRun {

namespace {

QString describe(const std::exception_ptr& error) {
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

void finish(AppState& state, const QString& message) {
    state.setIsExporting(false);
    state.setExportProgress({0, 0});
    state.setStatusMessage(message);
}

} // namespace

std::vector<ClippingFile> findClippingFiles(const std::vector<AudioFileItemPtr>& files) {
    std::vector<ClippingFile> clipping;
    for (const AudioFileItemPtr& file : files) {
        if (!file->analysis())
            continue;
        const double headroom =
            -(file->analysis()->peakDBFS + file->correctionDB() + SegmentEditModel::largestGainOffsetDB(file->segmentEdits().segmentGains()));
        if (headroom < -clippingToleranceDB)
            clipping.push_back({QFileInfo(file->path()).fileName(), -headroom});
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
        if (file->segmentEdits().hasEdits()) {
            plan.renderJobs.push_back({file->path(), file->segmentEdits().snapshot(),
                                       file->correctionDB(), finalLUFS, destinationFolder, format,
                                       rate, useLimiter});
        } else {
            plan.exportJobs.push_back({file->path(), file->correctionDB(), finalLUFS,
                                       destinationFolder, format, rate, useLimiter});
        }
    }
    return plan;
}

std::optional<QString> findReplacedSource(const Plan& plan, const std::vector<AudioFileItemPtr>& sources) {
    // Intermediate files are new files made exclusively, so only the output
    // names can meet a source: by name, hard link or symbolic link.
    QStringList outputs;
    for (const RenderJob& job : plan.renderJobs)
        outputs << QDir(job.destinationFolder).filePath(exportFileName(job.sourcePath, job.finalLUFS, job.format));
    for (const FFmpegExporter::ExportJob& job : plan.exportJobs)
        outputs << FFmpegExporter::outputPath(job);
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

void start(AppState& state, bool useLimiter, const QString& chosenFolder, const QString& ffmpegPath) {
    if (chosenFolder.isEmpty())
        return;
    const QString destination = QDir(chosenFolder).filePath(QStringLiteral("normalized"));
    Plan plan = buildPlan(state.files(), destination, state.exportFormat(), state.exportSampleRate(),
                          useLimiter);
    if (const auto replaced = findReplacedSource(plan, state.files())) {
        state.setStatusMessage(QStringLiteral("Export error: ") + *replaced);
        return;
    }

    const int64_t total = plan.count();
    state.setIsExporting(true);
    state.setExportProgress({0, total});
    state.setStatusMessage(QStringLiteral("Exporting %1 files...").arg(total));

    const QPointer<AppState> weak(&state);
    QThreadPool::globalInstance()->start([weak, plan = std::move(plan), total, ffmpegPath, destination] {
        // What a killed or crashed run left behind; a live run's files are locked.
        TemporaryFiles::removeStale(destination);
        TemporaryFiles::removeStale(QDir::tempPath());
        const InAppRenderer renderer(ffmpegPath);
        int64_t k = 0;
        for (const RenderJob& job : plan.renderJobs) {
            ++k;
            onMain(weak, [k, total](AppState& s) {
                s.setExportProgress({k, total});
                s.setStatusMessage(QStringLiteral("Rendering %1/%2...").arg(k).arg(total));
            });
            try {
                renderer.render(job);
            } catch (...) {
                const QString text = describe(std::current_exception());
                onMain(weak, [text](AppState& s) { finish(s, QStringLiteral("Export error: ") + text); });
                return;
            }
        }
        const auto rendered = static_cast<int64_t>(plan.renderJobs.size());
        FFmpegExporter(ffmpegPath).exportJobs(
            plan.exportJobs,
            [weak, rendered, total](int64_t j, int64_t) {
                if (!weak)
                    return;
                weak->setExportProgress({rendered + j, total});
                weak->setStatusMessage(QStringLiteral("Exporting %1/%2...").arg(rendered + j).arg(total));
            },
            [weak](std::vector<QString>, std::exception_ptr error) {
                if (weak)
                    finish(*weak, error ? QStringLiteral("Export error: ") + describe(error)
                                        : QStringLiteral("Export complete!"));
            });
    });
}

} // namespace ExportRun
