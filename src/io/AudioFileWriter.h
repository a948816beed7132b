#pragma once

// Writing audio into a file the caller opened (a new temporary file), never
// through a name: interleaved 32-bit float frames in, one writer per kind of
// file behind one interface. Integer samples must already lie on the
// format's grid (k / 2^(bits − 1)); they are stored exactly.

#include <QString>
#include <cstdint>
#include <memory>

// What an output is: its container and codec, and how its samples are held.
struct OutputEncoding {
    enum class Writer { wav, ffmpeg };
    Writer writer = Writer::wav;
    // FFmpeg's names, for Writer::ffmpeg: "mp3" and "libmp3lame", "flac" and "flac".
    const char* container = "";
    const char* codec = "";
    int64_t bitRate = 0; // bits per second; 0 for lossless
    int bitDepth = 32;   // 16 or 24 for integers, 32 for float samples (WAV) or a lossy codec
    bool isFloat = true;
    // A codec's own quality scale in place of the bit rate, which is then
    // only nominal (Vorbis: a managed bit rate refuses 96 kHz and one
    // channel at 256k); -1 for none.
    int vbrQuality = -1;
};

class AudioFileWriter {
public:
    virtual ~AudioFileWriter() = default;
    // Throws a Failure with the system's reason (a full disk, a removed folder).
    virtual void write(const float* interleaved, int64_t frames) = 0;
    // Finishes the file; throws a Failure. The destructor only frees.
    virtual void close() = 0;

    // Opens a writer of `encoding` on `descriptor`, which stays open.
    // `shownName` is the file its errors name. Throws a Failure.
    static std::unique_ptr<AudioFileWriter> open(const OutputEncoding& encoding, int descriptor,
                                                 const QString& shownName, int64_t sampleRate, int channels);
};

namespace WriteFailure {
// "the disk is full", "permission denied" and the like: what a person can
// act on, for the system's error number of a failed write.
QString reason(int errorNumber);
// "Cannot write "Song (-16LUFS).wav": the disk is full".
QString describe(const QString& shownName, int errorNumber);
} // namespace WriteFailure
