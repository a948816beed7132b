#include "io/AudioFileWriter.h"

#include "io/Error.h"
#include "io/FFmpegInput.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <sndfile.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace WriteFailure {

QString reason(int errorNumber) {
    switch (errorNumber) {
    case ENOSPC:
    case EDQUOT: return QStringLiteral("the disk is full");
    case EACCES:
    case EPERM:
    case EROFS: return QStringLiteral("permission denied");
    case ENOENT:
    case ESTALE: return QStringLiteral("its folder was removed");
    case EFBIG: return QStringLiteral("the file system does not hold files this large");
    default: return systemReason(errorNumber);
    }
}

QString describe(const QString& shownName, int errorNumber) {
    return QStringLiteral("Cannot write \"%1\": %2").arg(shownName, reason(errorNumber));
}

} // namespace WriteFailure

namespace {

// Writes to a descriptor and keeps the system's reason for a failure.
struct DescriptorOutput {
    int fd;
    int error = 0;

    int64_t write(const void* data, int64_t size) {
        const auto* bytes = static_cast<const char*>(data);
        int64_t done = 0;
        while (done < size) {
            const ssize_t n = ::write(fd, bytes + done, static_cast<size_t>(size - done));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0) {
                error = n < 0 ? errno : ENOSPC;
                return -1;
            }
            done += n;
        }
        return done;
    }
    int64_t seek(int64_t offset, int whence) { return ::lseek(fd, offset, whence); }
    int64_t length() const {
        struct stat info {};
        return ::fstat(fd, &info) == 0 ? info.st_size : -1;
    }
    // A folder removed meanwhile shows only as a file without links.
    int reason() const {
        struct stat info {};
        if (::fstat(fd, &info) == 0 && info.st_nlink == 0)
            return ENOENT;
        return error != 0 ? error : EIO;
    }
};

// Samples on an integer grid (k / 2^(bits − 1)) as 32-bit integers holding
// k in their top bits: exact, as both writers store them.
void gridToInt32(const float* samples, size_t count, int32_t* out) {
    const double scale = std::ldexp(1.0, 31);
    for (size_t i = 0; i < count; ++i)
        out[i] = static_cast<int32_t>(std::clamp(static_cast<double>(samples[i]) * scale, -2147483648.0, 2147483647.0));
}

class WavFileWriter final : public AudioFileWriter {
public:
    WavFileWriter(const OutputEncoding& encoding, int descriptor, const QString& shownName, int64_t sampleRate,
                  int channels)
        : output_{descriptor}, shownName_(shownName), channels_(channels), isFloat_(encoding.isFloat) {
        io_.get_filelen = [](void* self) -> sf_count_t { return out(self).length(); };
        io_.seek = [](sf_count_t offset, int whence, void* self) -> sf_count_t {
            return out(self).seek(offset, whence);
        };
        io_.read = [](void* ptr, sf_count_t count, void* self) -> sf_count_t {
            return ::read(out(self).fd, ptr, static_cast<size_t>(count));
        };
        io_.write = [](const void* ptr, sf_count_t count, void* self) -> sf_count_t {
            return out(self).write(ptr, count);
        };
        io_.tell = [](void* self) -> sf_count_t { return out(self).seek(0, SEEK_CUR); };
        SF_INFO info{};
        info.samplerate = static_cast<int>(sampleRate);
        info.channels = channels;
        const int subtype =
            isFloat_ ? SF_FORMAT_FLOAT : (encoding.bitDepth == 16 ? SF_FORMAT_PCM_16 : SF_FORMAT_PCM_24);
        // RF64 where the data passes what a RIFF header can state, else plain WAV.
        info.format = SF_FORMAT_RF64 | subtype | SF_ENDIAN_LITTLE;
        file_ = sf_open_virtual(&io_, SFM_WRITE, &info, &output_);
        if (!file_)
            throw Failure(
                Error::Kind::file,
                QStringLiteral("Cannot create \"%1\": %2").arg(shownName, QString::fromUtf8(sf_strerror(nullptr))));
        sf_command(file_, SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
    }
    ~WavFileWriter() override {
        if (file_)
            sf_close(file_);
    }

    void write(const float* interleaved, int64_t frames) override {
        if (frames <= 0)
            return;
        sf_count_t written = 0;
        if (isFloat_) {
            written = sf_writef_float(file_, interleaved, frames);
        } else {
            ints_.resize(static_cast<size_t>(frames * channels_));
            gridToInt32(interleaved, ints_.size(), ints_.data());
            written = sf_writef_int(file_, ints_.data(), frames);
        }
        if (written != frames)
            throw Failure(Error::Kind::file, WriteFailure::describe(shownName_, output_.reason()));
    }

    void close() override {
        if (!file_)
            return;
        const int error = sf_close(file_);
        file_ = nullptr;
        if (error != 0 || output_.error != 0)
            throw Failure(Error::Kind::file, WriteFailure::describe(shownName_, output_.reason()));
    }

private:
    static DescriptorOutput& out(void* self) { return *static_cast<DescriptorOutput*>(self); }

    DescriptorOutput output_;
    QString shownName_;
    int channels_;
    bool isFloat_;
    SF_VIRTUAL_IO io_{};
    SNDFILE* file_ = nullptr;
    std::vector<int32_t> ints_;
};

// An encoder of FFmpeg's libraries and its container, writing through the
// descriptor: planar float for a lossy codec, 32-bit integers holding
// `bitDepth` bits for a lossless one.
class EncodedFileWriter final : public AudioFileWriter {
public:
    EncodedFileWriter(const OutputEncoding& encoding, int descriptor, const QString& shownName, int64_t sampleRate,
                      int channels)
        : output_{descriptor}, shownName_(shownName), channels_(channels), isFloat_(encoding.isFloat),
          bitDepth_(encoding.bitDepth) {
        // A constructor that throws runs no destructor: what it made goes here.
        try {
            start(encoding, sampleRate);
        } catch (...) {
            release();
            throw;
        }
    }

    ~EncodedFileWriter() override { release(); }

    // Opens the encoder and writes the header.
    void start(const OutputEncoding& encoding, int64_t sampleRate) {
        FFmpegInput::quiet();
        const AVCodec* codec = avcodec_find_encoder_by_name(encoding.codec);
        if (!codec)
            fail(QStringLiteral("no %1 encoder is installed").arg(QString::fromLatin1(encoding.codec)));
        if (avformat_alloc_output_context2(&format_, nullptr, encoding.container, nullptr) < 0 || !format_)
            throw std::bad_alloc();
        constexpr int bufferSize = 1 << 16;
        auto* buffer = static_cast<unsigned char*>(av_malloc(bufferSize));
        io_ = avio_alloc_context(
            buffer, bufferSize, 1, &output_, nullptr,
            [](void* self, uint8_t* data, int size) -> int {
                auto& out = *static_cast<DescriptorOutput*>(self);
                return out.write(data, size) < 0 ? AVERROR(out.error) : size;
            },
            [](void* self, int64_t offset, int whence) -> int64_t {
                auto& out = *static_cast<DescriptorOutput*>(self);
                if (whence == AVSEEK_SIZE)
                    return out.length();
                const int64_t at = out.seek(offset, whence & ~AVSEEK_FORCE);
                return at < 0 ? AVERROR(errno) : at;
            });
        if (!io_) {
            av_free(buffer);
            throw std::bad_alloc();
        }
        format_->pb = io_;
        stream_ = avformat_new_stream(format_, nullptr);
        encoder_ = avcodec_alloc_context3(codec);
        frame_ = av_frame_alloc();
        packet_ = av_packet_alloc();
        if (!stream_ || !encoder_ || !frame_ || !packet_)
            throw std::bad_alloc();
        encoder_->sample_rate = static_cast<int>(sampleRate);
        av_channel_layout_default(&encoder_->ch_layout, channels_);
        // Planar float where the codec takes it, else interleaved (Opus).
        planar_ = !isFloat_ || takes(codec, AV_SAMPLE_FMT_FLTP) || !takes(codec, AV_SAMPLE_FMT_FLT);
        encoder_->sample_fmt = !isFloat_ ? AV_SAMPLE_FMT_S32 : planar_ ? AV_SAMPLE_FMT_FLTP : AV_SAMPLE_FMT_FLT;
        if (!isFloat_)
            encoder_->bits_per_raw_sample = bitDepth_;
        if (encoding.vbrQuality >= 0) {
            encoder_->flags |= AV_CODEC_FLAG_QSCALE;
            encoder_->global_quality = encoding.vbrQuality * FF_QP2LAMBDA;
        } else if (encoding.bitRate > 0) {
            encoder_->bit_rate = encoding.bitRate;
        }
        encoder_->time_base = AVRational{1, static_cast<int>(sampleRate)};
        if (format_->oformat->flags & AVFMT_GLOBALHEADER)
            encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        check(avcodec_open2(encoder_, codec, nullptr));
        check(avcodec_parameters_from_context(stream_->codecpar, encoder_));
        stream_->time_base = encoder_->time_base;
        check(avformat_write_header(format_, nullptr));
        frameSize_ = encoder_->frame_size > 0 ? encoder_->frame_size : 4096;
        pending_.reserve(static_cast<size_t>(frameSize_ * channels_));
    }

    void release() {
        av_packet_free(&packet_);
        av_frame_free(&frame_);
        avcodec_free_context(&encoder_);
        if (io_) {
            av_freep(&io_->buffer);
            avio_context_free(&io_);
        }
        if (format_)
            avformat_free_context(format_);
        format_ = nullptr;
    }

    // Gathered into whole codec frames.
    void write(const float* interleaved, int64_t frames) override {
        const auto wanted = static_cast<size_t>(frameSize_ * channels_);
        const float* end = interleaved + frames * channels_;
        while (interleaved < end) {
            const auto take = std::min(wanted - pending_.size(), static_cast<size_t>(end - interleaved));
            pending_.insert(pending_.end(), interleaved, interleaved + take);
            interleaved += take;
            if (pending_.size() == wanted)
                sendPending();
        }
    }

    void close() override {
        if (closed_)
            return;
        closed_ = true;
        if (!pending_.empty())
            sendPending();
        send(nullptr);
        check(av_write_trailer(format_));
        avio_flush(io_);
        if (output_.error != 0 || io_->error < 0)
            throw Failure(Error::Kind::file, WriteFailure::describe(shownName_, output_.reason()));
    }

private:
    static bool takes(const AVCodec* codec, AVSampleFormat format) {
        for (const AVSampleFormat* f = codec->sample_fmts; f && *f != AV_SAMPLE_FMT_NONE; ++f)
            if (*f == format)
                return true;
        return false;
    }
    [[noreturn]] void fail(const QString& why) const {
        throw Failure(Error::Kind::file, QStringLiteral("Cannot write \"%1\": %2").arg(shownName_, why));
    }
    // A failed write is told by the system's reason, anything else by the library's.
    void check(int result) const {
        if (result >= 0)
            return;
        if (output_.error != 0)
            throw Failure(Error::Kind::file, WriteFailure::describe(shownName_, output_.reason()));
        fail(FFmpegInput::describe(result));
    }

    void sendPending() {
        const int frames = static_cast<int>(pending_.size() / static_cast<size_t>(channels_));
        av_frame_unref(frame_);
        frame_->nb_samples = frames;
        frame_->format = encoder_->sample_fmt;
        frame_->sample_rate = encoder_->sample_rate;
        check(av_channel_layout_copy(&frame_->ch_layout, &encoder_->ch_layout));
        check(av_frame_get_buffer(frame_, 0));
        if (isFloat_ && !planar_) {
            std::copy(pending_.begin(), pending_.end(), reinterpret_cast<float*>(frame_->data[0]));
        } else if (isFloat_) {
            for (int c = 0; c < channels_; ++c) {
                auto* plane = reinterpret_cast<float*>(frame_->extended_data[c]);
                for (int i = 0; i < frames; ++i)
                    plane[i] = pending_[static_cast<size_t>(i * channels_ + c)];
            }
        } else {
            gridToInt32(pending_.data(), pending_.size(), reinterpret_cast<int32_t*>(frame_->data[0]));
        }
        frame_->pts = samplesSent_;
        samplesSent_ += frames;
        pending_.clear();
        send(frame_);
    }

    void send(AVFrame* frame) {
        check(avcodec_send_frame(encoder_, frame));
        for (;;) {
            const int result = avcodec_receive_packet(encoder_, packet_);
            if (result == AVERROR(EAGAIN) || result == AVERROR_EOF)
                return;
            check(result);
            av_packet_rescale_ts(packet_, encoder_->time_base, stream_->time_base);
            packet_->stream_index = stream_->index;
            check(av_interleaved_write_frame(format_, packet_));
        }
    }

    DescriptorOutput output_;
    QString shownName_;
    int channels_;
    bool isFloat_;
    bool planar_ = true;
    int bitDepth_;
    AVFormatContext* format_ = nullptr;
    AVIOContext* io_ = nullptr;
    AVStream* stream_ = nullptr;
    AVCodecContext* encoder_ = nullptr;
    AVFrame* frame_ = nullptr;
    AVPacket* packet_ = nullptr;
    int frameSize_ = 0;
    int64_t samplesSent_ = 0;
    std::vector<float> pending_;
    bool closed_ = false;
};

} // namespace

std::unique_ptr<AudioFileWriter> AudioFileWriter::open(const OutputEncoding& encoding, int descriptor,
                                                       const QString& shownName, int64_t sampleRate, int channels) {
    if (encoding.writer == OutputEncoding::Writer::wav)
        return std::make_unique<WavFileWriter>(encoding, descriptor, shownName, sampleRate, channels);
    return std::make_unique<EncodedFileWriter>(encoding, descriptor, shownName, sampleRate, channels);
}
