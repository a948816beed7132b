#pragma once

// Exports a file without segment edits with one encoder run: the volume
// filter applies the correction, the optional limiter guards the peaks, and
// the encoder converts the rate and encodes into a new temporary file that
// replaces the output name once it succeeded.

#include "export/ExportDelivery.h"
#include "export/ExportFormat.h"

#include <QString>
#include <QStringList>

namespace FFmpegExporter {

struct ExportJob {
    QString sourcePath;
    double correctionDB = 0.0;
    double finalLUFS = 0.0;
    QString destinationFolder;
    ExportFormat format = ExportFormat::wav24;
    SampleRate sampleRate = SampleRate::rate48000;
    bool useLimiter = false;
    // The source's sample peak; at 0 dBFS when unknown, so that a raised
    // file is checked after the limiter.
    double peakDBFS = 0.0;
};

// The encoder's arguments for one job, in order, writing to `written`, with
// `extraGainDB` added to the correction (to land on target when limited).
QStringList arguments(const ExportJob& job, const QString& written, double extraGainDB = 0.0);
// Where the job's output lands when it reaches its promised loudness.
QString outputPath(const ExportJob& job);
// One job on the calling thread, with the encoder at `ffmpegPath`. Throws
// ExportError, SystemError or FileError; on failure a file already at the
// output name is untouched.
ExportedFile runExport(const ExportJob& job, const QString& ffmpegPath);

} // namespace FFmpegExporter
