#include "analysis/AnalysisErrors.h"

#include "io/NativePath.h"

namespace AnalysisErrors {

namespace {

Failure failure(Error::Kind kind, const QString& message, const QString& path) { return Failure(kind, message, path); }

} // namespace

Failure cannotDecode(const QString& path) {
    return failure(Error::Kind::decode, QStringLiteral("Cannot decode ") + NativePath::shownName(path), path);
}

Failure cannotStartDecoder(const QString& path, const QString& why) {
    return failure(Error::Kind::decode, QStringLiteral("Cannot start ffmpeg: ") + why, path);
}

Failure cannotWriteTemporary(const QString& path, const QString& why) {
    return failure(Error::Kind::file, QStringLiteral("Cannot write temporary file: ") + why, path);
}

Failure noAudio(const QString& path) {
    return failure(Error::Kind::noAudio, QStringLiteral("No audio stream in ") + NativePath::shownName(path), path);
}

Failure emptyFile(const QString& path) {
    return failure(Error::Kind::empty, QStringLiteral("Audio file is empty"), path);
}

Failure noSamples() { return failure(Error::Kind::empty, QStringLiteral("Audio file contains no samples"), {}); }

Failure tooLong(const QString& path, int64_t frames) {
    return failure(Error::Kind::tooLong,
                   QStringLiteral("Audio file is too long: %1 frames (at most 4294967295 can be analysed)").arg(frames),
                   path);
}

Failure noBuffer() { return failure(Error::Kind::memory, QStringLiteral("Failed to create audio buffer"), {}); }

Failure stopped(const QString& path) {
    return failure(Error::Kind::stopped, QStringLiteral("The analysis was stopped before the end of the file"), path);
}

} // namespace AnalysisErrors
