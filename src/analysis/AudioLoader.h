#pragma once

#include "analysis/AnalysisErrors.h"
#include "analysis/FFmpegDecode.h"
#include "io/AudioReader.h"

#include <QString>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

// A file ready to be read: opened by the reader, or, when the reader refuses
// it, decoded by `ffmpeg` into a temporary WAV that lives as long as this.
struct OpenedAudio {
    std::unique_ptr<FFmpegDecodedFile> decoded; // declared first: removed after `reader` closes
    AudioReader reader;
};

// Decodes audio files into 32-bit float samples. Throws a Failure.
namespace AudioLoader {

// Frames a file may have: its buffer's capacity is a 32-bit count.
inline constexpr int64_t maxFrames = (int64_t{1} << 32) - 1;

// Opens with the reader, falling back to `ffmpeg`; checks the frame count.
// A file the reader opens but finds no audio in, or that is no readable
// regular file, is not handed to `ffmpeg`.
// `damage` and `maxChannels` as the reader takes them.
OpenedAudio open(const QString& path, AudioReader::Damage damage = AudioReader::Damage::skip, int maxChannels = 0);

// Reads up to `limit` frames in chunks of at most `chunkFrames`, handing each
// interleaved chunk and its frame count to `consume`. Returns the frames read,
// fewer than `limit` when the file ends early. Throws a Failure.
using ChunkConsumer = std::function<void(const float* samples, int64_t frames)>;
int64_t readChunks(OpenedAudio& opened, int64_t limit, int64_t chunkFrames, const ChunkConsumer& consume);

// Reads up to `frames` frames into `interleaved`; 0 at the end. Throws a Failure.
int64_t readChunk(OpenedAudio& opened, float* interleaved, int64_t frames);

} // namespace AudioLoader
