#include "analysis/AnalysisOutcome.h"

#include "analysis/LoudnessAnalyzer.h"

#include <QFileInfo>

AnalysisOutcome analyzeFileOutcome(const QString& path) {
    const QFileInfo info(path);
    if (!info.exists())
        return AnalysisOutcome::failure(QStringLiteral("File not found"));
    if (info.isDir())
        return AnalysisOutcome::failure(QStringLiteral("Is a folder, not an audio file"));
    return AnalysisOutcome::of([&] { return LoudnessAnalyzer::analyze(path); },
                               QStringLiteral("Unexpected error while analysing this file"));
}
