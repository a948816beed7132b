#include "export/FFmpegExporter.h"

#include "editing/SegmentEditModel.h"
#include "export/ExportErrors.h"
#include "io/EncoderProcess.h"
#include "io/NativePath.h"
#include "io/RegularFile.h"
#include "io/TemporaryFile.h"

#include <QDir>
#include <QFileInfo>

namespace FFmpegExporter {

namespace {

// Only a gain above the source can push peaks over; never limit otherwise.
bool limiterInChain(const ExportJob& job) { return job.useLimiter && job.correctionDB > 0; }

} // namespace

QStringList arguments(const ExportJob& job, const QString& written, double extraGainDB) {
    QStringList filters;
    if (const QString volume = volumeFilter(job.correctionDB + extraGainDB); !volume.isEmpty())
        filters << volume;
    if (limiterInChain(job))
        filters << limiterChain(limiterTrimSamples(job.sampleRate));

    QStringList args = encoderInputArguments(job.sourcePath);
    if (!filters.isEmpty())
        args << QStringLiteral("-af") << filters.join(QLatin1Char(','));
    args << QStringLiteral("-ar") << QString::number(rawValue(job.sampleRate));
    args << codecArguments(job.format) << encoderOutputArguments(job.format, written);
    return args;
}

ExportedFile runExport(const ExportJob& job, const QString& ffmpegPath) {
    // The encoder opens the source itself: a named pipe would block it.
    if (const std::optional<QString> why = RegularFile::problem(job.sourcePath))
        throw ExportError(NativePath::shownName(job.sourcePath), *why);
    ExportFiles::makeFolder(job.destinationFolder);
    const auto encode = [&](double extraGainDB) {
        TemporaryFile written(job.destinationFolder, fileExtension(job.format));
        const QString through = written.descriptorPath();
        const EncoderRun run =
            EncoderProcess::run(ffmpegPath, arguments(job, through, extraGainDB), written.descriptor());
        if (run.exitCode != 0) {
            throw ExportError(NativePath::shownName(job.sourcePath),
                              run.reason(through, NativePath::shownName(outputPath(job))));
        }
        return written;
    };
    return ExportDelivery::deliver(
        job,
        ExportDelivery::limiterActs(limiterInChain(job),
                                    SegmentEditModel::correctedPeakDBFS(job.peakDBFS, job.correctionDB, 0.0)),
        encode);
}

} // namespace FFmpegExporter
