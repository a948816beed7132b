#include "analysis/AnalysisPacking.h"

#include <QDataStream>
#include <QIODevice>
#include <algorithm>
#include <cmath>
#include <limits>

namespace AnalysisPacking {

namespace {

// Raised whenever the layout below changes.
constexpr quint32 layoutVersion = 2;
constexpr double int16Range = 32767.0;

qint16 quantised(double value) { return static_cast<qint16>(std::lround(std::clamp(value, -int16Range, int16Range))); }

// Every value the result holds besides its arrays, in one order for both ways.
template <typename Stream, typename Result> void figures(Stream& s, Result& r) {
    s& r.sampleRate& r.channels& r.windowStart& r.windowEnd& r.loudest20sLUFS& r.peakDBFS& r.truePeakDBTP& r.figures
        .integratedLUFS& r.figures.loudnessRangeLU& r.figures.maxMomentaryLUFS& r.figures.maxShortTermLUFS& r
        .duration& r.nonFiniteSamples& r.envelope.bucketCount;
}

struct Writer {
    QDataStream& out;
    template <typename T> Writer& operator&(const T& v) {
        if constexpr (std::is_same_v<T, int>)
            out << static_cast<qint32>(v);
        else if constexpr (std::is_same_v<T, int64_t>)
            out << static_cast<qint64>(v);
        else
            out << v;
        return *this;
    }
};

struct Reader {
    QDataStream& in;
    template <typename T> Reader& operator&(T& v) {
        if constexpr (std::is_same_v<T, int>) {
            qint32 x = 0;
            in >> x;
            v = x;
        } else if constexpr (std::is_same_v<T, int64_t>) {
            qint64 x = 0;
            in >> x;
            v = x;
        } else {
            in >> v;
        }
        return *this;
    }
};

} // namespace

QByteArray pack(const AnalysisResult& result) {
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setFloatingPointPrecision(QDataStream::DoublePrecision);
    out << layoutVersion << static_cast<quint8>(result.channelMix);
    Writer writer{out};
    figures(writer, result);

    const WaveformEnvelope& env = result.envelope;
    const size_t buckets = std::min(env.minValues.size(), env.maxValues.size());
    float largest = 1.0f; // float files may go past full scale
    for (size_t i = 0; i < buckets; ++i)
        largest = std::max({largest, std::abs(env.minValues[i]), std::abs(env.maxValues[i])});
    if (!std::isfinite(largest))
        largest = 1.0f;
    out << static_cast<double>(largest) << static_cast<quint32>(buckets);
    const double toInt = int16Range / largest;
    for (size_t i = 0; i < buckets; ++i)
        out << quantised(env.minValues[i] * toInt) << quantised(env.maxValues[i] * toInt);

    const size_t points = std::min(result.times.size(), result.loudnessCurve.size());
    const size_t stride = std::max<size_t>(1, (points + maxCurvePoints - 1) / maxCurvePoints);
    const size_t kept = (points + stride - 1) / stride;
    const double first = points > 0 ? result.times[0] : 0.0;
    const double step = kept > 1 ? result.times[stride] - first : 0.0;
    out << static_cast<quint32>(kept) << first << step;
    for (size_t i = 0; i < points; i += stride)
        out << quantised(result.loudnessCurve[i] * curveStepsPerLU);

    const GatingHistogram& blocks = result.gatingBlocks;
    // Seven bits a byte, most counts being small: a byte or two each.
    QByteArray counts;
    for (uint32_t count : blocks.counts) {
        for (; count >= 0x80; count >>= 7)
            counts.append(static_cast<char>(0x80 | (count & 0x7f)));
        counts.append(static_cast<char>(count));
    }
    out << static_cast<qint32>(blocks.firstBin) << static_cast<quint32>(blocks.counts.size()) << counts;
    const SourceEncoding& source = result.source;
    out << QByteArray::fromStdString(source.codec) << static_cast<qint32>(source.bitsPerSample) << source.isFloat
        << static_cast<qint64>(source.bitRate) << result.album << result.albumArtist << result.loudnessTags;
    return bytes;
}

std::optional<AnalysisResult> unpack(const QByteArray& bytes) {
    QDataStream in(bytes);
    in.setFloatingPointPrecision(QDataStream::DoublePrecision);
    quint32 version = 0;
    quint8 mix = 0;
    in >> version >> mix;
    if (version != layoutVersion || mix > static_cast<quint8>(ChannelMix::average))
        return std::nullopt;
    AnalysisResult r;
    r.channelMix = static_cast<ChannelMix>(mix);
    Reader reader{in};
    figures(reader, r);

    double largest = 1.0;
    quint32 buckets = 0;
    in >> largest >> buckets;
    // Each count is checked against what is left, so a damaged count cannot
    // make a huge allocation.
    const auto fits = [&](quint32 count, int bytesEach) {
        return in.status() == QDataStream::Ok && in.device()->bytesAvailable() >= qint64{count} * bytesEach;
    };
    if (!fits(buckets, 4))
        return std::nullopt;
    r.envelope.minValues.resize(buckets);
    r.envelope.maxValues.resize(buckets);
    const double toFloat = largest / int16Range;
    for (quint32 i = 0; i < buckets; ++i) {
        qint16 lo = 0, hi = 0;
        in >> lo >> hi;
        r.envelope.minValues[i] = static_cast<float>(lo * toFloat);
        r.envelope.maxValues[i] = static_cast<float>(hi * toFloat);
    }

    quint32 points = 0;
    double first = 0.0, step = 0.0;
    in >> points >> first >> step;
    if (!fits(points, 2))
        return std::nullopt;
    r.times.resize(points);
    r.loudnessCurve.resize(points);
    for (quint32 i = 0; i < points; ++i) {
        qint16 v = 0;
        in >> v;
        r.times[i] = first + step * i;
        r.loudnessCurve[i] = v / curveStepsPerLU;
    }

    qint32 firstBin = 0;
    quint32 bins = 0;
    QByteArray counts;
    in >> firstBin >> bins >> counts;
    if (firstBin < 0 || qint64{firstBin} + bins > GatingHistogram::bins)
        return std::nullopt;
    r.gatingBlocks.firstBin = firstBin;
    uint32_t count = 0;
    int shift = 0;
    for (const char c : counts) {
        count |= static_cast<uint32_t>(c & 0x7f) << shift;
        shift += 7;
        if (shift > 28 && (c & 0x80))
            return std::nullopt;
        if (!(c & 0x80)) {
            r.gatingBlocks.counts.push_back(count);
            count = 0, shift = 0;
        }
    }
    if (r.gatingBlocks.counts.size() != bins || shift != 0)
        return std::nullopt;
    QByteArray codec;
    qint32 bits = 0;
    qint64 bitRate = 0;
    in >> codec >> bits >> r.source.isFloat >> bitRate >> r.album >> r.albumArtist >> r.loudnessTags;
    r.source.codec = codec.toStdString();
    r.source.bitsPerSample = bits;
    r.source.bitRate = bitRate;
    if (in.status() != QDataStream::Ok || !in.atEnd())
        return std::nullopt;
    return r;
}

} // namespace AnalysisPacking
