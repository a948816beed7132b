#include "io/AudioReader.h"

#include "io/DurationText.h"
#include "io/Error.h"
#include "io/FFmpegInput.h"
#include "io/NativePath.h"
#include "io/RegularFile.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/log.h>
#include <libswresample/swresample.h>
}

#include <QFileInfo>
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

QString avError(int code) { return FFmpegInput::describe(code); }

// Errors in a row, with nothing decoded or read in between, after which a
// stream counts as ended instead of being retried for ever.
constexpr int maxErrorsInARow = 64;

// Larger samples (+60 dBFS) are no audio: a damaged or foreign float file.
constexpr float maximumSample = 1000.0f;

// Eight months at 48 kHz.
constexpr int64_t maximumPlausibleFrames = int64_t{1} << 40;

// The layout itself, or the default one of its channel count when the file
// names no positions (converters need positions to match channels).
void copyLayout(AVChannelLayout* to, const AVChannelLayout& from) {
    av_channel_layout_uninit(to);
    if (from.order == AV_CHANNEL_ORDER_UNSPEC || av_channel_layout_copy(to, &from) < 0)
        av_channel_layout_default(to, from.nb_channels);
}

// The roles of `layout`'s channels; all unknown unless `named`. The back
// pair is the surround pair of a layout that has no side pair (5.1 as some
// files name it), and a main pair behind it otherwise.
std::vector<AudioReader::ChannelRole> rolesOf(const AVChannelLayout& layout, bool named) {
    using Role = AudioReader::ChannelRole;
    std::vector<Role> roles(static_cast<size_t>(std::max(layout.nb_channels, 0)), Role::unknown);
    if (!named)
        return roles;
    const bool sides = av_channel_layout_index_from_channel(&layout, AV_CHAN_SIDE_LEFT) >= 0 ||
                       av_channel_layout_index_from_channel(&layout, AV_CHAN_SIDE_RIGHT) >= 0;
    for (size_t i = 0; i < roles.size(); ++i) {
        switch (av_channel_layout_channel_from_index(&layout, static_cast<unsigned>(i))) {
        case AV_CHAN_NONE:
        case AV_CHAN_UNUSED:
        case AV_CHAN_UNKNOWN: break;
        case AV_CHAN_LOW_FREQUENCY:
        case AV_CHAN_LOW_FREQUENCY_2: roles[i] = Role::lowFrequency; break;
        case AV_CHAN_SIDE_LEFT:
        case AV_CHAN_SIDE_RIGHT:
        case AV_CHAN_SURROUND_DIRECT_LEFT:
        case AV_CHAN_SURROUND_DIRECT_RIGHT: roles[i] = Role::surround; break;
        case AV_CHAN_BACK_LEFT:
        case AV_CHAN_BACK_RIGHT: roles[i] = sides ? Role::main : Role::surround; break;
        default: roles[i] = Role::main;
        }
    }
    return roles;
}

// Whether every sample's magnitude is at most `maximumSample`, NaN and the
// infinities not, compared as the bits of IEEE floats: with the sign
// cleared, a larger float has larger bits, and NaN and infinity the largest.
// Four lanes at a time, since every sample of every file passes here.
bool allWithinBound(const float* samples, size_t count) {
    using Lanes = int32_t __attribute__((vector_size(16)));
    const int32_t bound = std::bit_cast<int32_t>(maximumSample);
    const Lanes magnitude = {INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX};
    const Lanes bounds = {bound, bound, bound, bound};
    Lanes over{};
    size_t i = 0;
    for (; i + 4 <= count; i += 4) {
        Lanes bits;
        std::memcpy(&bits, samples + i, sizeof bits);
        over |= (bits & magnitude) > bounds;
    }
    int32_t any = over[0] | over[1] | over[2] | over[3];
    for (; i < count; ++i)
        any |= (std::bit_cast<int32_t>(samples[i]) & INT32_MAX) > bound;
    return any == 0;
}

// Whether a frame holds integer samples, which convert to floats within
// full scale: nothing for clean() to find.
bool decodedAsIntegers(const AVFrame* decoded) {
    switch (av_get_packed_sample_fmt(static_cast<AVSampleFormat>(decoded->format))) {
    case AV_SAMPLE_FMT_U8:
    case AV_SAMPLE_FMT_S16:
    case AV_SAMPLE_FMT_S32:
    case AV_SAMPLE_FMT_S64: return true;
    default: return false;
    }
}

} // namespace

struct AudioReader::Impl {
    QString path;
    QString name;
    AVFormatContext* format = nullptr;
    AVCodecContext* codec = nullptr;
    AVPacket* packet = nullptr;
    AVFrame* frame = nullptr;
    SwrContext* converter = nullptr;
    AVChannelLayout layout{};        // what comes out
    AVChannelLayout convertedFrom{}; // what the converter was made for
    int convertedFormat = -1;
    int convertedRate = 0;
    int stream = -1;
    AVRational timeBase{1, 1};
    int64_t origin = 0; // the stream's first timestamp
    int64_t rate = 0;
    int channels = 0;
    int64_t frames = 0;
    bool exact = false;
    bool lossless = false;
    SourceEncoding encoding;
    int64_t seekPreroll = 0; // frames decoded and dropped before a sought one

    std::vector<float> pending; // decoded, not yet handed out
    size_t pendingOffset = 0;   // floats of `pending` already handed out
    // Where a reader wants its next frames: a decoded frame that fits goes
    // straight there instead of through `pending`, and `directFrames` says
    // how many it held.
    float* direct = nullptr;
    int64_t directRoom = 0;
    int64_t directFrames = 0;
    bool inputEnded = false; // the decoder has been told there is no more
    bool decoderEnded = false;
    int64_t skipTo = -1; // after a seek: the frame the caller asked for
    int errorsInARow = 0;
    int64_t lastPacketTime = AV_NOPTS_VALUE; // of the stream's newest packet, in its time base
    bool failOnDamage = false;
    int maxChannels = 0;
    bool primed = false;   // the first frame has been decoded
    int64_t nonFinite = 0; // samples that were not numbers, handed out as 0
    std::vector<AudioReader::ChannelRole> roles;

    ~Impl() {
        swr_free(&converter);
        av_frame_free(&frame);
        av_packet_free(&packet);
        avcodec_free_context(&codec);
        avformat_close_input(&format);
        av_channel_layout_uninit(&layout);
        av_channel_layout_uninit(&convertedFrom);
    }

    // The layout that comes out: the file's, or fewer channels down-mixed.
    void setLayout(const AVChannelLayout& from) {
        copyLayout(&layout, from);
        const bool named = from.order != AV_CHANNEL_ORDER_UNSPEC;
        if (maxChannels > 0 && layout.nb_channels > maxChannels) {
            av_channel_layout_uninit(&layout);
            av_channel_layout_default(&layout, maxChannels);
        }
        channels = layout.nb_channels;
        roles = rolesOf(layout, named || channels < from.nb_channels);
    }

    [[noreturn]] void fail(const QString& why, Error::Kind kind = Error::Kind::file,
                           std::optional<double> at = std::nullopt) const {
        throw Failure(Error{kind, QStringLiteral("Cannot read \"%1\": %2").arg(name, why), path, at});
    }

    // A packet or frame the decoder refused; fatal with Damage::fail.
    void refused() {
        if (failOnDamage) {
            av_packet_unref(packet);
            const double at = lastPacketTime == AV_NOPTS_VALUE
                                  ? 0.0
                                  : std::max(0.0, static_cast<double>(lastPacketTime - origin) * av_q2d(timeBase));
            fail(QStringLiteral("the audio is damaged at %1 and stops decoding there").arg(durationText(at)),
                 Error::Kind::damaged, at);
        }
        ++errorsInARow;
    }

    void open(const QString& file);
    int chooseStream() const;
    bool describedByHeader() const;
    bool decodeNext();
    void convert(const AVFrame* decoded);
    void clean(float* samples, size_t count);
};

void AudioReader::Impl::open(const QString& file) {
    path = file;
    name = NativePath::shownName(path);
    RegularFile::require(path); // a named pipe would block the demuxer for ever
    int result = FFmpegInput::open(&format, path);
    if (result < 0)
        fail(avError(result));
    // Probing the streams by reading and decoding some of them takes longer
    // than the rest of opening a long file; it is only needed when the
    // header leaves out what comes out or how long it is.
    stream = chooseStream();
    if (!describedByHeader()) {
        if ((result = avformat_find_stream_info(format, nullptr)) < 0)
            fail(avError(result));
        stream = chooseStream();
    }
    if (stream < 0)
        throw Failure(Error::Kind::noAudio, QStringLiteral("\"%1\" holds no audio").arg(name), path);
    AVStream* st = format->streams[stream];
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        if (static_cast<int>(i) != stream)
            format->streams[i]->discard = AVDISCARD_ALL;
    }
    const AVCodec* decoder = avcodec_find_decoder(st->codecpar->codec_id);
    if (!decoder)
        fail(QStringLiteral("no decoder for its audio (%1)")
                 .arg(QString::fromUtf8(avcodec_get_name(st->codecpar->codec_id))));
    codec = avcodec_alloc_context3(decoder);
    packet = av_packet_alloc();
    frame = av_frame_alloc();
    if (!codec || !packet || !frame)
        throw std::bad_alloc();
    if ((result = avcodec_parameters_to_context(codec, st->codecpar)) < 0)
        fail(avError(result));
    codec->pkt_timebase = st->time_base;
    if ((result = avcodec_open2(codec, decoder, nullptr)) < 0)
        fail(avError(result));
    rate = codec->sample_rate;
    setLayout(codec->ch_layout);
    // The first frame says what really comes out (a header may state the
    // core rate of a stream that decodes at twice it); it waits in `pending`.
    decodeNext();
    if (rate <= 0 || channels <= 0)
        fail(QStringLiteral("invalid audio format"));

    timeBase = st->time_base;
    origin = st->start_time != AV_NOPTS_VALUE ? st->start_time : 0;
    // Lossy codecs add priming and padding that the decoder trims, so their
    // stated length is only near the decoded one.
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(st->codecpar->codec_id);
    lossless = descriptor && (descriptor->props & AV_CODEC_PROP_LOSSLESS);
    const AVCodecParameters* stored = st->codecpar;
    encoding.codec = avcodec_get_name(stored->codec_id);
    encoding.bitsPerSample =
        stored->bits_per_raw_sample > 0 ? stored->bits_per_raw_sample : av_get_bits_per_sample(stored->codec_id);
    encoding.isFloat = stored->codec_id == AV_CODEC_ID_PCM_F32LE || stored->codec_id == AV_CODEC_ID_PCM_F32BE ||
                       stored->codec_id == AV_CODEC_ID_PCM_F64LE || stored->codec_id == AV_CODEC_ID_PCM_F64BE;
    encoding.bitRate = lossless ? 0 : std::max<int64_t>(stored->bit_rate, 0);
    if (st->duration != AV_NOPTS_VALUE && st->duration > 0) {
        frames = av_rescale_q(st->duration, timeBase, AVRational{1, static_cast<int>(rate)});
        frames = std::max<int64_t>(frames - st->codecpar->initial_padding, 0);
        exact = lossless && st->codecpar->initial_padding == 0 &&
                format->duration_estimation_method != AVFMT_DURATION_FROM_BITRATE;
    } else if (format->duration != AV_NOPTS_VALUE && format->duration > 0) {
        frames = av_rescale(format->duration, rate, AV_TIME_BASE);
    }
    // A length no file can have is none (a damaged header states one).
    if (frames < 0 || frames > maximumPlausibleFrames) {
        frames = 0;
        exact = false;
    }
    // A lossy decoder needs a few frames before the wanted one to sound right.
    seekPreroll = lossless ? 0 : std::max<int64_t>(st->codecpar->seek_preroll, 4096);
}

// The audio stream marked as the default, else the one the libraries rank
// best; -1 when there is none (only video or cover art).
int AudioReader::Impl::chooseStream() const {
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        const AVStream* st = format->streams[i];
        if (st->codecpar->codec_type == AVMEDIA_TYPE_AUDIO && (st->disposition & AV_DISPOSITION_DEFAULT))
            return static_cast<int>(i);
    }
    const int best = av_find_best_stream(format, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    return best >= 0 ? best : -1;
}

// Whether the header alone gave the chosen stream's codec, rate, channels
// and length.
bool AudioReader::Impl::describedByHeader() const {
    if (stream < 0)
        return false;
    const AVStream* st = format->streams[stream];
    const AVCodecParameters* p = st->codecpar;
    return p->codec_id != AV_CODEC_ID_NONE && p->sample_rate > 0 && p->ch_layout.nb_channels > 0 &&
           st->duration != AV_NOPTS_VALUE && st->duration > 0;
}

// Decodes until `pending` (or `direct`) holds something; false at the end of
// the stream.
bool AudioReader::Impl::decodeNext() {
    pending.clear();
    pendingOffset = 0;
    directFrames = 0;
    while (!decoderEnded) {
        if (errorsInARow > maxErrorsInARow) {
            decoderEnded = true;
            break;
        }
        int result = avcodec_receive_frame(codec, frame);
        if (result == 0) {
            errorsInARow = 0;
            convert(frame);
            av_frame_unref(frame);
            if (!pending.empty() || directFrames > 0)
                return true;
            continue;
        }
        if (result == AVERROR_EOF) {
            decoderEnded = true;
            break;
        }
        if (result != AVERROR(EAGAIN)) {
            refused(); // a frame that would not decode is left out
            continue;
        }
        if (inputEnded) {
            decoderEnded = true;
            break;
        }
        result = av_read_frame(format, packet);
        if (result < 0) {
            // An I/O error is one; anything else the demuxer stops at is
            // the end of what can be read, as for FFmpeg's own tools.
            if (result != AVERROR_EOF && format->pb && format->pb->error < 0)
                fail(avError(format->pb->error));
            inputEnded = true;
            avcodec_send_packet(codec, nullptr);
            continue;
        }
        if (packet->stream_index == stream) {
            lastPacketTime = packet->pts;
            // A packet the decoder refuses is skipped.
            result = avcodec_send_packet(codec, packet);
            if (result < 0)
                refused();
            else
                errorsInARow = 0;
        }
        av_packet_unref(packet);
    }
    return false;
}

void AudioReader::Impl::convert(const AVFrame* decoded) {
    if (!primed) {
        primed = true;
        if (decoded->sample_rate > 0)
            rate = decoded->sample_rate;
        if (decoded->ch_layout.nb_channels > 0)
            setLayout(decoded->ch_layout);
    }
    if (!converter || decoded->format != convertedFormat || decoded->sample_rate != convertedRate ||
        av_channel_layout_compare(&decoded->ch_layout, &convertedFrom) != 0) {
        swr_free(&converter);
        av_channel_layout_uninit(&convertedFrom);
        if (av_channel_layout_copy(&convertedFrom, &decoded->ch_layout) < 0)
            throw std::bad_alloc();
        AVChannelLayout in{};
        copyLayout(&in, decoded->ch_layout);
        const int made =
            swr_alloc_set_opts2(&converter, &layout, AV_SAMPLE_FMT_FLT, static_cast<int>(rate), &in,
                                static_cast<AVSampleFormat>(decoded->format), decoded->sample_rate, 0, nullptr);
        av_channel_layout_uninit(&in);
        if (made < 0 || swr_init(converter) < 0) {
            swr_free(&converter);
            fail(QStringLiteral("cannot convert its samples"));
        }
        convertedFormat = decoded->format;
        convertedRate = decoded->sample_rate;
    }
    const int capacity = swr_get_out_samples(converter, decoded->nb_samples);
    if (capacity <= 0)
        return;
    if (direct && skipTo < 0 && capacity <= directRoom) {
        auto* out = reinterpret_cast<uint8_t*>(direct);
        const int got = swr_convert(converter, &out, capacity, const_cast<const uint8_t**>(decoded->extended_data),
                                    decoded->nb_samples);
        directFrames = std::max(got, 0);
        if (!decodedAsIntegers(decoded))
            clean(direct, static_cast<size_t>(directFrames) * static_cast<size_t>(channels));
        return;
    }
    pending.resize(static_cast<size_t>(capacity) * static_cast<size_t>(channels));
    auto* out = reinterpret_cast<uint8_t*>(pending.data());
    const int got = swr_convert(converter, &out, capacity, const_cast<const uint8_t**>(decoded->extended_data),
                                decoded->nb_samples);
    pending.resize(static_cast<size_t>(std::max(got, 0)) * static_cast<size_t>(channels));
    if (!decodedAsIntegers(decoded))
        clean(pending.data(), pending.size());

    if (skipTo >= 0 && !pending.empty()) {
        // After a seek the decoder starts at or before the wanted frame; the
        // frames before it are dropped.
        const int64_t stamp = decoded->best_effort_timestamp;
        int64_t drop = 0;
        if (stamp != AV_NOPTS_VALUE)
            drop = skipTo - av_rescale_q(stamp - origin, timeBase, AVRational{1, static_cast<int>(rate)});
        if (drop >= got) {
            pending.clear();
            return;
        }
        pendingOffset = static_cast<size_t>(std::max<int64_t>(drop, 0)) * static_cast<size_t>(channels);
        skipTo = -1;
    }
}

// Every path reads through here, so analysis, playback and export agree:
// a sample that is not a number (NaN, infinite) becomes silence and is
// counted; a file with samples beyond any audio is refused.
void AudioReader::Impl::clean(float* samples, size_t count) {
    if (allWithinBound(samples, count))
        return;
    float largest = 0.0f;
    for (size_t i = 0; i < count; ++i) {
        if (!std::isfinite(samples[i])) {
            samples[i] = 0.0f;
            ++nonFinite;
        } else {
            largest = std::max(largest, std::fabs(samples[i]));
        }
    }
    if (largest > maximumSample)
        fail(QStringLiteral("its samples reach %1 dBFS, far beyond what audio can hold")
                 .arg(QString::asprintf("%+.0f", 20.0 * std::log10(static_cast<double>(largest)))),
             Error::Kind::badSamples);
}

AudioReader::AudioReader(const QString& path, Damage damage, int maxChannels) : impl_(std::make_unique<Impl>()) {
    impl_->failOnDamage = damage == Damage::fail;
    impl_->maxChannels = maxChannels;
    impl_->open(path);
}

AudioReader::~AudioReader() = default;
AudioReader::AudioReader(AudioReader&&) noexcept = default;
AudioReader& AudioReader::operator=(AudioReader&&) noexcept = default;

int64_t AudioReader::frames() const { return impl_->frames; }
bool AudioReader::framesExact() const { return impl_->exact; }
const SourceEncoding& AudioReader::encoding() const { return impl_->encoding; }

QString AudioReader::tag(const char* name) const {
    for (const AVDictionary* metadata : {impl_->format->metadata, impl_->format->streams[impl_->stream]->metadata})
        if (const AVDictionaryEntry* entry = av_dict_get(metadata, name, nullptr, 0); entry && entry->value)
            return QString::fromUtf8(entry->value).trimmed();
    return {};
}
int64_t AudioReader::sampleRate() const { return impl_->rate; }
int AudioReader::channels() const { return impl_->channels; }
const std::vector<AudioReader::ChannelRole>& AudioReader::channelRoles() const { return impl_->roles; }
int64_t AudioReader::nonFiniteSamples() const { return impl_->nonFinite; }

int64_t AudioReader::readInterleaved(float* interleaved, int64_t frames) {
    Impl& d = *impl_;
    const auto channels = static_cast<size_t>(d.channels);
    int64_t done = 0;
    while (done < frames) {
        const size_t available = (d.pending.size() - d.pendingOffset) / channels;
        if (available == 0) {
            d.direct = interleaved + static_cast<size_t>(done) * channels;
            d.directRoom = frames - done;
            const bool more = d.decodeNext();
            d.direct = nullptr;
            done += d.directFrames;
            d.directFrames = 0;
            if (!more)
                break;
            continue;
        }
        const size_t take = std::min(available, static_cast<size_t>(frames - done));
        std::memcpy(interleaved + static_cast<size_t>(done) * channels, d.pending.data() + d.pendingOffset,
                    take * channels * sizeof(float));
        d.pendingOffset += take * channels;
        done += static_cast<int64_t>(take);
    }
    return done;
}

bool AudioReader::seek(int64_t frame) {
    Impl& d = *impl_;
    if (frame < 0)
        return false;
    const int64_t from = std::max<int64_t>(frame - d.seekPreroll, 0);
    const int64_t stamp = av_rescale_q(from, AVRational{1, static_cast<int>(d.rate)}, d.timeBase) + d.origin;
    if (avformat_seek_file(d.format, d.stream, INT64_MIN, stamp, stamp, 0) < 0 &&
        av_seek_frame(d.format, d.stream, stamp, AVSEEK_FLAG_BACKWARD) < 0)
        return false;
    avcodec_flush_buffers(d.codec);
    swr_free(&d.converter);
    d.pending.clear();
    d.pendingOffset = 0;
    d.inputEnded = false;
    d.decoderEnded = false;
    d.errorsInARow = 0;
    d.skipTo = frame;
    return true;
}
