#pragma once

// The report of a batch: one record per file with every figure, the
// correction it gets and the figure it ends at, and, when a platform's preset
// is chosen, whether the corrected file would meet it. Written as CSV (one
// row per file, for a spreadsheet) or as JSON; the window and
// `sonivel analyze` write the same.

#include "analysis/AnalysisResult.h"
#include "io/Error.h"
#include "session/TargetPreset.h"

#include <QByteArray>
#include <QString>
#include <optional>
#include <vector>

class AudioFileItem;
class BatchSession;

// What is reported of one file: the figures a user reads, not the prefix
// sums, so that a large batch does not hold every file's sums.
struct FileReport {
    QString file; // as the user gave it
    std::optional<QString> error;
    int64_t sampleRate = 0;
    int channels = 0;
    double duration = 0.0;
    double loudest20sLUFS = 0.0;
    double peakDBFS = 0.0;
    double truePeakDBTP = 0.0;
    MeterFigures figures;
    double windowStart = 0.0;
    double windowEnd = 0.0;
    std::vector<TimeRange> softPassages;
    std::optional<QString> warning; // measured, but with a caveat
    double figureLUFS = 0.0;        // the figure it is normalized by
    double correctionDB = 0.0;      // the gain the export gives it
    // In album mode: its album, and that album's figure, which its correction aims at the target.
    std::optional<QString> album = {};
    double albumLUFS = 0.0;

    bool isSilent() const { return loudest20sLUFS <= -70.0; }
};

// A measured file, with the correction that aims it as `aim` says.
FileReport makeReport(const QString& file, const AnalysisResult& result, const Aim& aim);
// A listed file's: its correction as set (by hand, or for its album).
FileReport makeReport(const QString& file, const AudioFileItem& item, const Aim& aim);
FileReport makeErrorReport(const QString& file, const QString& error);

namespace LoudnessReport {

// Whether the corrected file meets the preset: its integrated loudness
// within 1 LU of the target and its true peak at or below the ceiling; why
// not, when it does not. None for Custom. Only a measured file is judged: a
// failed one has no figures.
struct Compliance {
    bool met = false;
    QString why; // "true peak 0.4 dB over the ceiling"
};
std::optional<Compliance> complianceOf(const FileReport& file, const Aim& aim);

QByteArray csv(const std::vector<FileReport>& files, const Aim& aim);
QByteArray json(const std::vector<FileReport>& files, const Aim& aim);

// The listed files as the window shows them, each with its own correction
// (files still being measured appear as failed, with why).
std::vector<FileReport> ofList(const BatchSession& state);

// Writes the list's report to `path`, as JSON when it ends in ".json", else
// as CSV, or says why it could not.
Result<> save(const BatchSession& state, const QString& path);

} // namespace LoudnessReport
