// Any bytes under any audio extension, opened and read a few chunks at a
// time with one seek, as analysis, playback and export read: a refusal
// with a reason, or samples that are all numbers within the sane range.

#include "io/AudioReader.h"

#include "FuzzFiles.h"

#include <cmath>
#include <cstdint>
#include <vector>

namespace {

const char* const extensions[] = {"wav", "mp3", "flac", "ogg", "opus", "m4a", "aiff",
                                  "w64", "caf", "wv",   "ac3", "mka",  "mp4", "au"};

void check(const float* samples, int64_t count) {
    for (int64_t i = 0; i < count; ++i) {
        if (!(std::fabs(samples[i]) <= 1000.0f))
            finding("a sample that is no number or beyond +60 dBFS");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1)
        return 0;
    const char* extension = extensions[data[0] % std::size(extensions)];
    const FuzzFile file(extension, QByteArray(reinterpret_cast<const char*>(data + 1), qsizetype(size - 1)));
    try {
        AudioReader reader(file.path(), data[0] & 0x80 ? AudioReader::Damage::fail : AudioReader::Damage::skip);
        if (reader.channels() < 1 || reader.sampleRate() < 1 || reader.frames() < 0)
            finding("an opened file that states no format");
        constexpr int64_t chunk = 1024;
        std::vector<float> buffer(static_cast<size_t>(chunk * reader.channels()));
        for (int i = 0; i < 8; ++i) {
            const int64_t got = reader.readInterleaved(buffer.data(), chunk);
            if (got < 0 || got > chunk)
                finding("a read of more frames than asked for");
            check(buffer.data(), got * reader.channels());
            if (i == 3)
                reader.seek(size % 4096);
        }
    } catch (const Failure&) {
    }
    return 0;
}
