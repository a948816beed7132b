#pragma once

// A file opened for reading with FFmpeg's libraries, the platform reader: any
// file they can open, its default audio stream decoded as it is read.
// Samples come out as interleaved 32-bit floats at the file's own rate and
// channel count, integer formats scaled by 2^-15, 2^-23 or 2^-31 (exactly as
// libsndfile reads them). Broken packets are skipped the way FFmpeg's own
// tools skip them, or end the reading with an error where a damaged file
// must not pass for a whole one (an export). One thread at a time.

#include "io/Error.h"
#include "io/SourceEncoding.h"

#include <QString>
#include <cstdint>
#include <memory>
#include <vector>

class AudioReader {
public:
    enum class Damage { skip, fail };
    // What a channel carries, as far as loudness cares: `unknown` when the
    // file names no layout.
    enum class ChannelRole { unknown, main, lowFrequency, surround };

    // Throws a Failure naming the file and why the libraries refuse it (not
    // a file they know, no decoder); of kind `noAudio` when it holds no audio
    // stream, `notAFile` when it is no readable regular file at all.
    // With `maxChannels`, a file of more channels comes out down-mixed to
    // that many (the usual layout of that count) with the ITU-R BS.775
    // coefficients: centre and surrounds at -3 dB, LFE left out.
    explicit AudioReader(const QString& path, Damage damage = Damage::skip, int maxChannels = 0);
    ~AudioReader();
    AudioReader(AudioReader&&) noexcept;
    AudioReader& operator=(AudioReader&&) noexcept;

    // The length in frames: exact when the container states it, otherwise
    // an estimate (framesExact() false) that reading may prove wrong, and 0
    // when the file gives no usable length.
    int64_t frames() const;
    bool framesExact() const;
    int64_t sampleRate() const;
    int channels() const;
    // How the chosen stream is stored.
    const SourceEncoding& encoding() const;
    // A tag of the file or of its audio stream ("album", "album_artist"),
    // as FFmpeg's libraries name it, case ignored; empty when there is none.
    QString tag(const char* name) const;
    // One per channel that comes out, in order.
    const std::vector<ChannelRole>& channelRoles() const;
    // Samples read so far that were not numbers (NaN or infinite); they come
    // out as 0. A file with samples beyond ±1000 (+60 dBFS) is refused as it
    // is read, with a Failure of kind `badSamples`.
    int64_t nonFiniteSamples() const;

    // Reads up to `frames` frames into `interleaved` (frames × channels
    // floats). Returns the frames read; fewer only at the end, 0 after it.
    // Throws a Failure when the file cannot be read on (an I/O error), and
    // with Damage::fail when a packet does not decode (kind `damaged`, with
    // the time where the audio stops decoding).
    int64_t readInterleaved(float* interleaved, int64_t frames);
    // Moves the read position to `frame`: exactly for PCM and lossless
    // formats, within one codec frame for lossy ones. False when the file
    // cannot seek there; the position is then unspecified.
    bool seek(int64_t frame);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};
