#include "export/FFmpegExporter.h"

#include "io/FFmpegLocator.h"
#include "io/EncoderProcess.h"
#include "export/ExportErrors.h"
#include "export/MainThread.h"
#include "io/TemporaryFile.h"

#include <QDir>
#include <QFileInfo>
#include <QThreadPool>
#include <cmath>

FFmpegExporter::FFmpegExporter(QString ffmpegPath) : ffmpegPath_(std::move(ffmpegPath)) {}

QString FFmpegExporter::outputPath(const ExportJob& job) {
    return QDir(job.destinationFolder)
        .filePath(exportFileName(job.sourcePath, job.finalLUFS, job.format));
}

QStringList FFmpegExporter::arguments(const ExportJob& job, const QString& written) {
    QStringList filters;
    if (std::abs(job.correctionDB) > 0.01)
        filters << QString::asprintf("volume=%.2fdB", job.correctionDB);
    // Only a gain above the source can push peaks over; never limit otherwise.
    if (job.useLimiter && job.correctionDB > 0)
        filters << limiterChain(limiterTrimSamples(job.sampleRate));

    QStringList args{QStringLiteral("-y"), QStringLiteral("-i"), job.sourcePath};
    if (!filters.isEmpty())
        args << QStringLiteral("-af") << filters.join(QLatin1Char(','));
    args << QStringLiteral("-ar") << QString::number(rawValue(job.sampleRate));
    args << codecArguments(job.format) << written;
    return args;
}

QString FFmpegExporter::runExport(const ExportJob& job, const QString& ffmpegPath) {
    ExportFiles::makeFolder(job.destinationFolder);
    TemporaryFile written(job.destinationFolder, fileExtension(job.format));
    const EncoderRun run = EncoderProcess::run(ffmpegPath, arguments(job, written.path()));
    if (run.exitCode != 0) {
        const QString message = run.errorOutput.isEmpty() ? QStringLiteral("Unknown error")
                                                          : run.errorOutput.left(200);
        throw ExportError(QFileInfo(job.sourcePath).fileName(), message);
    }
    const QString output = outputPath(job);
    written.commitAs(output);
    return output;
}

void FFmpegExporter::exportJobs(std::vector<ExportJob> jobs, Progress progress,
                                Completion completion) const {
    const QString ffmpeg = ffmpegPath_.isEmpty() ? FFmpegLocator::find() : ffmpegPath_;
    QThreadPool::globalInstance()->start([jobs = std::move(jobs), progress, completion, ffmpeg] {
        std::vector<QString> outputs;
        const auto total = static_cast<int64_t>(jobs.size());
        for (int64_t i = 0; i < total; ++i) {
            postToMainThread([progress, i, total] { progress(i + 1, total); });
            try {
                outputs.push_back(runExport(jobs[static_cast<size_t>(i)], ffmpeg));
            } catch (...) {
                postToMainThread([completion, error = std::current_exception()] {
                    completion({}, error);
                });
                return;
            }
        }
        postToMainThread([completion, outputs = std::move(outputs)]() mutable {
            completion(std::move(outputs), nullptr);
        });
    });
}
