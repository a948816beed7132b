#include "ui/onboarding/VideoLoop.h"

#include "io/FFmpegInput.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

#include <QFile>

struct VideoLoop::State {
    QFile file;
    AVIOContext* io = nullptr;
    AVFormatContext* format = nullptr;
    AVCodecContext* codec = nullptr;
    SwsContext* scaler = nullptr;
    AVPacket* packet = av_packet_alloc();
    AVFrame* decoded = av_frame_alloc();
    int stream = -1;
    bool draining = false;

    ~State() {
        sws_freeContext(scaler);
        av_frame_free(&decoded);
        av_packet_free(&packet);
        avcodec_free_context(&codec);
        avformat_close_input(&format);
        if (io)
            av_freep(&io->buffer);
        avio_context_free(&io);
    }

    // FFmpeg reads through QFile, so that a resource compiled into the
    // program plays like a file.
    static int read(void* opaque, uint8_t* buffer, int size) {
        const qint64 got = static_cast<State*>(opaque)->file.read(reinterpret_cast<char*>(buffer), size);
        return got > 0 ? static_cast<int>(got) : AVERROR_EOF;
    }
    static int64_t seek(void* opaque, int64_t offset, int whence) {
        QFile& file = static_cast<State*>(opaque)->file;
        if (whence == AVSEEK_SIZE)
            return file.size();
        const int64_t base = (whence & ~AVSEEK_FORCE) == SEEK_CUR   ? file.pos()
                             : (whence & ~AVSEEK_FORCE) == SEEK_END ? file.size()
                                                                    : 0;
        return file.seek(base + offset) ? file.pos() : -1;
    }

    bool open(const QString& path) {
        file.setFileName(path);
        if (!file.open(QIODevice::ReadOnly) || !packet || !decoded)
            return false;
        constexpr int bufferSize = 64 * 1024;
        auto* buffer = static_cast<unsigned char*>(av_malloc(bufferSize));
        io = avio_alloc_context(buffer, bufferSize, 0, this, &State::read, nullptr, &State::seek);
        format = avformat_alloc_context();
        if (!io || !format) {
            if (!io)
                av_free(buffer);
            return false;
        }
        format->pb = io;
        format->flags |= AVFMT_FLAG_CUSTOM_IO;
        if (avformat_open_input(&format, nullptr, nullptr, nullptr) < 0 ||
            avformat_find_stream_info(format, nullptr) < 0)
            return false;
        const AVCodec* decoder = nullptr;
        stream = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
        if (stream < 0 || !decoder)
            return false;
        codec = avcodec_alloc_context3(decoder);
        return codec && avcodec_parameters_to_context(codec, format->streams[stream]->codecpar) >= 0 &&
               avcodec_open2(codec, decoder, nullptr) >= 0 && codec->width > 0 && codec->height > 0;
    }

    // The next decoded picture; false at the end of the video or on an error.
    bool decodeNext() {
        for (;;) {
            const int received = avcodec_receive_frame(codec, decoded);
            if (received == 0)
                return true;
            if (received != AVERROR(EAGAIN) || draining)
                return false;
            const int read = av_read_frame(format, packet);
            if (read < 0) {
                draining = true;
                avcodec_send_packet(codec, nullptr);
                continue;
            }
            const int sent = packet->stream_index == stream ? avcodec_send_packet(codec, packet) : 0;
            av_packet_unref(packet);
            if (sent < 0 && sent != AVERROR(EAGAIN))
                return false;
        }
    }

    bool rewind() {
        draining = false;
        avcodec_flush_buffers(codec);
        return av_seek_frame(format, stream, 0, AVSEEK_FLAG_BACKWARD) >= 0;
    }
};

VideoLoop::VideoLoop(const QString& path) {
    FFmpegInput::quiet();
    auto state = std::make_unique<State>();
    if (state->open(path))
        state_ = std::move(state);
}

VideoLoop::~VideoLoop() = default;

double VideoLoop::frameInterval() const {
    if (!state_)
        return 0.0;
    const AVRational rate = state_->format->streams[state_->stream]->avg_frame_rate;
    return rate.num > 0 && rate.den > 0 ? av_q2d(av_inv_q(rate)) : 1.0 / 25.0;
}

const VideoFrame* VideoLoop::next() {
    if (!state_)
        return nullptr;
    State& s = *state_;
    if (!s.decodeNext() && !(s.rewind() && s.decodeNext()))
        return nullptr;
    const AVFrame& in = *s.decoded;
    s.scaler = sws_getCachedContext(s.scaler, in.width, in.height, static_cast<AVPixelFormat>(in.format), in.width,
                                    in.height, AV_PIX_FMT_RGB32, SWS_BILINEAR, nullptr, nullptr, nullptr);
    if (!s.scaler)
        return nullptr;
    frame_.width = in.width;
    frame_.height = in.height;
    frame_.pixels.resize(static_cast<size_t>(in.width) * static_cast<size_t>(in.height));
    uint8_t* planes[4] = {reinterpret_cast<uint8_t*>(frame_.pixels.data()), nullptr, nullptr, nullptr};
    const int strides[4] = {in.width * 4, 0, 0, 0};
    sws_scale(s.scaler, in.data, in.linesize, 0, in.height, planes, strides);
    const int64_t pts = in.best_effort_timestamp == AV_NOPTS_VALUE ? 0 : in.best_effort_timestamp;
    const AVStream* st = s.format->streams[s.stream];
    frame_.seconds =
        static_cast<double>(pts - (st->start_time == AV_NOPTS_VALUE ? 0 : st->start_time)) * av_q2d(st->time_base);
    return &frame_;
}
