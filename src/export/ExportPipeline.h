#pragma once

// One file's export, the same for every file and format: the source read
// streaming (down-mixed first where the format holds fewer channels), its
// gain (the correction, with the segment offsets and their fades), the rate
// of the output, the true-peak limiter, the samples of the format (16-bit
// dithered), and the writer. Every output is measured with the analysis's
// meter (lossless ones from the very samples written, lossy ones decoded),
// read back whole, and then named after the figure it really has. A file
// that misses its promise, or passes the ceiling, is made once more with the
// gain or the ceiling set by what was measured.

#include "export/ExportJob.h"
#include "export/ExportNaming.h"

#include <QString>
#include <functional>
#include <stop_token>

// What one job wrote.
struct ExportedFile {
    QString sourcePath;
    QString path;
    double loudnessLUFS = -70.0; // as measured
    double truePeakDBTP = -120.0;
    bool isSilent = false;
    // Further than the tolerance from its promise; `note` says why.
    bool offTarget = false;
    QString note;
};

struct JobControl {
    // Stopped from any thread: the job ends within a few milliseconds.
    std::stop_token stop;
    // The share of the job done, from 0 to 1; called on the job's thread.
    std::function<void(double)> progress;
};

namespace ExportPipeline {

// How close an output must measure to its promise.
inline constexpr double toleranceLU = 0.2;
// How far over the ceiling a true peak may read before the file is made again.
inline constexpr double ceilingSlackDB = 0.05;
// Sources below this rate are taken for a damaged header.
inline constexpr int64_t lowestSourceRate = 1000;

// Exports one job and claims its name. Throws a Failure with the reason,
// of kind `stopped` when cancelled; no
// temporary file outlives it.
ExportedFile exportFile(const ExportJob& job, const ExportSettings& settings, OutputNames& names,
                        const JobControl& control);

} // namespace ExportPipeline
