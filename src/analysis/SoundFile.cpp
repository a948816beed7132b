#include "analysis/SoundFile.h"

#include "analysis/AnalysisErrors.h"

#include <sndfile.h>
#include <utility>

SoundFile::SoundFile(const QString& path) {
    SF_INFO info{};
    const QByteArray encoded = QFile::encodeName(path);
    file_ = sf_open(encoded.constData(), SFM_READ, &info);
    if (!file_) {
        openError_ = QString::fromUtf8(sf_strerror(nullptr));
        return;
    }
    frames_ = info.frames;
    sampleRate_ = info.samplerate;
    channels_ = info.channels;
}

SoundFile::~SoundFile() {
    if (file_) {
        sf_close(file_);
    }
}

SoundFile::SoundFile(SoundFile&& other) noexcept
    : file_(std::exchange(other.file_, nullptr)), openError_(std::move(other.openError_)),
      frames_(other.frames_), sampleRate_(other.sampleRate_), channels_(other.channels_) {}

SoundFile& SoundFile::operator=(SoundFile&& other) noexcept {
    if (this != &other) {
        if (file_) {
            sf_close(file_);
        }
        file_ = std::exchange(other.file_, nullptr);
        openError_ = std::move(other.openError_);
        frames_ = other.frames_;
        sampleRate_ = other.sampleRate_;
        channels_ = other.channels_;
    }
    return *this;
}

int64_t SoundFile::readInterleaved(float* interleaved, int64_t frames) {
    const sf_count_t got = sf_readf_float(file_, interleaved, frames);
    if (got < frames && sf_error(file_) != SF_ERR_NO_ERROR) {
        throw AudioLoaderError(AudioLoaderError::Kind::readFailed, sf_strerror(file_));
    }
    return got;
}

bool SoundFile::seek(int64_t frame) {
    return file_ && sf_seek(file_, frame, SEEK_SET) == frame;
}
