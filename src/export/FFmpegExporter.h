#pragma once

// Exports files without segment edits with one encoder run each: the volume
// filter applies the correction, the optional limiter guards the peaks, and
// the encoder converts the rate and encodes into a new temporary file that
// replaces the output name once it succeeded. Jobs run one at a time on a
// worker thread; progress and completion arrive on the main thread.

#include "export/ExportFormat.h"

#include <QString>
#include <QStringList>
#include <exception>
#include <functional>
#include <vector>

class FFmpegExporter {
public:
    struct ExportJob {
        QString sourcePath;
        double correctionDB = 0.0;
        double finalLUFS = 0.0;
        QString destinationFolder;
        ExportFormat format = ExportFormat::wav24;
        SampleRate sampleRate = SampleRate::rate48000;
        bool useLimiter = false;
    };

    // Called on the main thread before each job: (job number from 1, job count).
    using Progress = std::function<void(int64_t current, int64_t total)>;
    // Called once on the main thread: the outputs in job order, or the first
    // error (then `error` is set and later jobs did not run).
    using Completion = std::function<void(std::vector<QString> outputs, std::exception_ptr error)>;

    // An empty path: look for the encoder when export() is called.
    explicit FFmpegExporter(QString ffmpegPath = QString());

    // Starts the run on a worker thread and returns at once.
    void exportJobs(std::vector<ExportJob> jobs, Progress progress, Completion completion) const;

    // The encoder's arguments for one job, in order, writing to `written`.
    static QStringList arguments(const ExportJob& job, const QString& written);
    static QString outputPath(const ExportJob& job);
    // One encoder run, on the calling thread; returns the output path.
    // Throws ExportError, SystemError or FileError; on failure a file
    // already at the output name is untouched.
    static QString runExport(const ExportJob& job, const QString& ffmpegPath);

private:
    QString ffmpegPath_;
};
