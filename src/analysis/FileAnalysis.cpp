#include "analysis/FileAnalysis.h"

#include "analysis/LoudnessAnalyzer.h"
#include "io/NativePath.h"

FileAnalysis analyzeFile(const QString& path, ChannelMix mix, std::stop_token stop) {
    if (!NativePath::exists(path))
        return FileAnalysis::failure(Error::Kind::notAFile, QStringLiteral("File not found"), path);
    return FileAnalysis::of(
        [&] { return LoudnessAnalyzer::analyze(path, mix, LoudnessAnalyzer::defaultChunkFrames, stop); },
        QStringLiteral("Unexpected error while analysing this file"));
}
