#pragma once

#include <QFile>
#include <QString>
#include <cstdint>
#include <memory>

struct sf_private_tag;

// A file opened for reading with libsndfile, the platform reader. Samples come
// out as interleaved 32-bit floats, integer formats scaled to [-1, 1).
class SoundFile {
public:
    // Opens `path`; `isOpen()` tells whether the reader could.
    explicit SoundFile(const QString& path);
    ~SoundFile();
    SoundFile(SoundFile&&) noexcept;
    SoundFile& operator=(SoundFile&&) noexcept;

    bool isOpen() const { return file_ != nullptr; }
    const QString& openError() const { return openError_; }
    int64_t frames() const { return frames_; }
    int64_t sampleRate() const { return sampleRate_; }
    int channels() const { return channels_; }

    // Reads up to `frames` frames into `interleaved` (frames × channels
    // floats). Returns the frames read; 0 at the end. Throws
    // AudioLoaderError(readFailed) when the reader reports an error.
    int64_t readInterleaved(float* interleaved, int64_t frames);
    // Moves the read position to `frame`; false when the reader can't.
    bool seek(int64_t frame);

private:
    sf_private_tag* file_ = nullptr;
    QString openError_;
    int64_t frames_ = 0;
    int64_t sampleRate_ = 0;
    int channels_ = 0;
};
