#pragma once

// How a source file's audio is stored, as far as "Same as source" cares: its
// codec (FFmpeg's name: "mp3", "flac", "vorbis", "opus", "aac", "pcm_s24le"
// ...; empty when unknown), its bits per sample (PCM), whether its samples
// are floats, and its bit rate (lossy codecs; 0 when not stated).

#include <cstdint>
#include <string>

struct SourceEncoding {
    std::string codec;
    int bitsPerSample = 0;
    bool isFloat = false;
    int64_t bitRate = 0;

    bool operator==(const SourceEncoding&) const = default;
};
