#include "analysis/AnalysisErrors.h"

namespace {

QString describe(AudioLoaderError::Kind kind, const QString& payload) {
    using Kind = AudioLoaderError::Kind;
    switch (kind) {
    case Kind::ffmpegFailed: return QStringLiteral("Cannot decode ") + payload;
    case Kind::emptyFile: return QStringLiteral("Audio file is empty");
    case Kind::stopped: return QStringLiteral("The analysis was stopped before the end of the file");
    case Kind::bufferCreationFailed: return QStringLiteral("Failed to create audio buffer");
    case Kind::launchFailed: return QStringLiteral("Cannot start ffmpeg: ") + payload;
    case Kind::tooLong:
        return QStringLiteral("Audio file is too long: %1 frames (at most 4294967295 can be analysed)").arg(payload);
    case Kind::writeFailed: return QStringLiteral("Cannot write temporary file: ") + payload;
    case Kind::readFailed: return payload;
    case Kind::noAudio: return QStringLiteral("No audio stream in ") + payload;
    }
    return QStringLiteral("Unknown audio loading error");
}

} // namespace

AudioLoaderError::AudioLoaderError(Kind kind, const QString& payload)
    : DescribedError(describe(kind, payload)), kind_(kind) {}
