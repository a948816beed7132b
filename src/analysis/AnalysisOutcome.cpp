#include "analysis/AnalysisOutcome.h"

#include "analysis/LoudnessAnalyzer.h"
#include "io/NativePath.h"

AnalysisOutcome analyzeFileOutcome(const QString& path, ChannelMix mix, std::stop_token stop) {
    if (!NativePath::exists(path))
        return AnalysisOutcome::failure(QStringLiteral("File not found"));
    return AnalysisOutcome::of(
        [&] { return LoudnessAnalyzer::analyze(path, mix, LoudnessAnalyzer::defaultChunkFrames, stop); },
        QStringLiteral("Unexpected error while analysing this file"));
}
