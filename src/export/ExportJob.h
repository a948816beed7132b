#pragma once

// One file's export, as both export paths take it: where it comes from and
// goes, its correction, the loudness its name promises, and how it is
// encoded. A copy, taken when the export starts.

#include "export/ExportFormat.h"

#include <QDir>
#include <QString>

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

// Where the job's output lands when it reaches its promised loudness.
inline QString outputPath(const ExportJob& job) {
    return QDir(job.destinationFolder).filePath(exportFileName(job.sourcePath, job.finalLUFS, job.format));
}
