#include "analysis/AnalysisErrors.h"

#include "io/NativePath.h"

#include <QFileInfo>

namespace AnalysisErrors {

Failure cannotDecode(const QString& path) {
    if (QFileInfo(path).size() == 0)
        return Failure(Error::Kind::decode, NativePath::shownName(path) + QStringLiteral(" is empty (0 bytes)"), path);
    return Failure(Error::Kind::decode, QStringLiteral("Cannot decode ") + NativePath::shownName(path), path);
}

Failure cannotStartDecoder(const QString& path, const QString& why) {
    return Failure(Error::Kind::decode, QStringLiteral("Cannot start ffmpeg: ") + why, path);
}

Failure cannotWriteTemporary(const QString& path, const QString& why) {
    return Failure(Error::Kind::file, QStringLiteral("Cannot write temporary file: ") + why, path);
}

Failure noAudio(const QString& path) {
    return Failure(Error::Kind::noAudio, QStringLiteral("No audio stream in ") + NativePath::shownName(path), path);
}

Failure emptyFile(const QString& path) {
    return Failure(Error::Kind::empty, QStringLiteral("Audio file is empty"), path);
}

Failure noSamples() { return Failure(Error::Kind::empty, QStringLiteral("Audio file contains no samples"), {}); }

Failure tooLong(const QString& path, int64_t frames) {
    return Failure(Error::Kind::tooLong,
                   QStringLiteral("Audio file is too long: %1 frames (at most 4294967295 can be analysed)").arg(frames),
                   path);
}

Failure noBuffer() { return Failure(Error::Kind::memory, QStringLiteral("Failed to create audio buffer"), {}); }

Failure stopped(const QString& path) {
    return Failure(Error::Kind::stopped, QStringLiteral("The analysis was stopped before the end of the file"), path);
}

} // namespace AnalysisErrors
