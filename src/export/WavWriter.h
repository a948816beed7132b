#pragma once

// A WAV file opened for writing with libsndfile: interleaved 32-bit float
// samples in, stored as 16 or 24-bit integers (clipped at full scale, never
// wrapped) or as 32-bit floats. Files past 4 GB become RF64 on their own.

#include <QString>
#include <cstdint>

struct sf_private_tag;

class WavWriter {
public:
    // Throws RenderError(cannotCreateOutput) with libsndfile's reason.
    WavWriter(const QString& path, int64_t sampleRate, int channels, int bitDepth, bool isFloat);
    ~WavWriter();
    WavWriter(const WavWriter&) = delete;
    WavWriter& operator=(const WavWriter&) = delete;

    // Throws SystemError when not every frame could be written (a full disk).
    void write(const float* interleaved, int64_t frames);
    // Finishes the header; also done by the destructor.
    void close();

private:
    sf_private_tag* file_ = nullptr;
    QString path_;
};
