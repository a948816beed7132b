#pragma once

#include "analysis/AnalysisResult.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

// What the command line reports of one file: the figures a user reads, not
// the prefix sums, so that a large batch does not hold every file's sums.
struct FileReport {
    QString file; // as the user gave it
    std::optional<QString> error;
    int64_t sampleRate = 0;
    int channels = 0;
    double duration = 0.0;
    double peakLUFS = 0.0;
    double peakDBFS = 0.0;
    double truePeakDBTP = 0.0;
    MeterFigures figures;
    double windowStart = 0.0;
    double windowEnd = 0.0;
    std::vector<TimeRange> softPassages;
    std::optional<QString> warning; // measured, but with a caveat
};

FileReport makeReport(const QString& file, const AnalysisResult& result);
FileReport makeErrorReport(const QString& file, const QString& error);

// The table: a header, then one row per file in the order given.
QString reportHeader(int nameWidth);
QString reportRow(const FileReport& report, int nameWidth);
int reportNameWidth(const QStringList& files);

// One JSON array, one object per file.
QByteArray reportJson(const std::vector<FileReport>& reports);
