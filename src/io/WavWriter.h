#pragma once

// A WAV file opened for writing with libsndfile: interleaved 32-bit float
// samples in, stored as 16 or 24-bit integers (clipped at full scale, never
// wrapped) or as 32-bit floats. Files past 4 GB become RF64 on their own.
// It writes into a file the caller opened (a new temporary file), never
// through a name.

#include <QString>
#include <cstdint>

struct sf_private_tag;

class WavWriter {
public:
    // Writes into the open `descriptor`, which stays open; `displayName` is
    // the file its errors name. Throws FileError with libsndfile's reason.
    WavWriter(int descriptor, const QString& displayName, int64_t sampleRate, int channels, int bitDepth, bool isFloat);
    ~WavWriter();
    WavWriter(const WavWriter&) = delete;
    WavWriter& operator=(const WavWriter&) = delete;

    // Throws FileError when not every frame could be written (a full disk).
    void write(const float* interleaved, int64_t frames);
    // Finishes the header; throws FileError when that fails. The
    // destructor only closes.
    void close();

private:
    sf_private_tag* file_ = nullptr;
    QString displayName_;
};
