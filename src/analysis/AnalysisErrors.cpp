#include "analysis/AnalysisErrors.h"

namespace {

std::string describe(AudioLoaderError::Kind kind, const std::string& payload) {
    using Kind = AudioLoaderError::Kind;
    switch (kind) {
    case Kind::ffmpegFailed:
        return "Cannot decode " + payload;
    case Kind::emptyFile:
        return "Audio file is empty";
    case Kind::bufferCreationFailed:
        return "Failed to create audio buffer";
    case Kind::noFloatData:
        return "No float channel data available";
    case Kind::tooLong:
        return "Audio file is too long: " + payload +
               " frames (at most 4294967295 can be analysed)";
    case Kind::launchFailed:
        return "Cannot start ffmpeg: " + payload;
    case Kind::writeFailed:
        return "Cannot write temporary file: " + payload;
    case Kind::readFailed:
        return payload;
    case Kind::noAudio:
        return "No audio stream in " + payload;
    }
    return "Unknown audio loading error";
}

} // namespace

AudioLoaderError::AudioLoaderError(Kind kind, std::string payload)
    : kind_(kind), payload_(std::move(payload)), description_(describe(kind_, payload_)) {}
