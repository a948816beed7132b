#include "io/WavWriter.h"

#include "io/FileError.h"

#include <sndfile.h>

WavWriter::WavWriter(int descriptor, const QString& displayName, int64_t sampleRate, int channels, int bitDepth,
                     bool isFloat)
    : displayName_(displayName) {
    SF_INFO info{};
    info.samplerate = static_cast<int>(sampleRate);
    info.channels = channels;
    const int subtype = isFloat ? SF_FORMAT_FLOAT : (bitDepth == 16 ? SF_FORMAT_PCM_16 : SF_FORMAT_PCM_24);
    info.format = SF_FORMAT_RF64 | subtype | SF_ENDIAN_LITTLE;
    file_ = sf_open_fd(descriptor, SFM_WRITE, &info, SF_FALSE);
    if (!file_)
        throw FileError(
            QStringLiteral("Cannot create \"%1\": %2").arg(displayName, QString::fromUtf8(sf_strerror(nullptr))));
    sf_command(file_, SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
    sf_command(file_, SFC_SET_CLIPPING, nullptr, SF_TRUE);
}

WavWriter::~WavWriter() {
    if (file_)
        sf_close(file_);
}

void WavWriter::write(const float* interleaved, int64_t frames) {
    if (frames <= 0)
        return;
    if (sf_writef_float(file_, interleaved, frames) != frames) {
        throw FileError(
            QStringLiteral("Cannot write \"%1\": %2").arg(displayName_, QString::fromUtf8(sf_strerror(file_))));
    }
}

void WavWriter::close() {
    if (!file_)
        return;
    const int error = sf_close(file_);
    file_ = nullptr;
    if (error != 0) {
        throw FileError(
            QStringLiteral("Cannot write \"%1\": %2").arg(displayName_, QString::fromUtf8(sf_error_number(error))));
    }
}
