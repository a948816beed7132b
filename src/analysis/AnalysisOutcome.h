#pragma once

#include "analysis/AnalysisResult.h"

#include <QString>
#include <optional>

// The result of analysing one file, or the text its row shows instead.
struct AnalysisOutcome {
    std::optional<AnalysisResult> result;
    QString error; // empty when `result` is set
};

// Analyses one file and never throws: a missing file, a folder, a decoder or
// analysis error and running out of memory all come back as `error`.
AnalysisOutcome analyzeFileOutcome(const QString& path);
