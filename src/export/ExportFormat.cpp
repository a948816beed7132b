#include "export/ExportFormat.h"

#include <algorithm>

namespace {

struct FormatRow {
    ExportFormat format;
    const char* label;
    const char* keyword;
    const char* extension;
    OutputEncoding encoding;
    int64_t maximumRate;
    int maximumChannels;
    int64_t lengthTolerance;
    bool onlyMaximumRate = false; // the codec runs at that rate alone
};

using W = OutputEncoding::Writer;

// MP3: LAME's frames of 1152, at most two channels and 48 kHz. FLAC holds
// 24-bit integers, so a corrected signal keeps its detail without dither.
// Ogg Vorbis (at quality 7, about 224 kbit/s in stereo), Opus (48 kHz only)
// and AAC in M4A are the lossy formats of players other than MP3's; their
// frames (2048, 960, 1024) bound the length a decoder gives back.
constexpr FormatRow rows[] = {
    {ExportFormat::wav16, "WAV 16-bit", "wav16", "wav", {W::wav, "", "", 0, 16, false}, 96000, 64, 0},
    {ExportFormat::wav24, "WAV 24-bit", "wav24", "wav", {W::wav, "", "", 0, 24, false}, 96000, 64, 0},
    {ExportFormat::wav32, "WAV 32-bit float", "wav32", "wav", {W::wav, "", "", 0, 32, true}, 96000, 64, 0},
    {ExportFormat::mp3_320,
     "MP3 320k",
     "mp3_320",
     "mp3",
     {W::ffmpeg, "mp3", "libmp3lame", 320000, 32, true},
     48000,
     2,
     1152},
    {ExportFormat::mp3_192,
     "MP3 192k",
     "mp3_192",
     "mp3",
     {W::ffmpeg, "mp3", "libmp3lame", 192000, 32, true},
     48000,
     2,
     1152},
    {ExportFormat::mp3_128,
     "MP3 128k",
     "mp3_128",
     "mp3",
     {W::ffmpeg, "mp3", "libmp3lame", 128000, 32, true},
     48000,
     2,
     1152},
    {ExportFormat::flac, "FLAC", "flac", "flac", {W::ffmpeg, "flac", "flac", 0, 24, false}, 96000, 8, 0},
    {ExportFormat::vorbis,
     "Ogg Vorbis q7",
     "vorbis",
     "ogg",
     {W::ffmpeg, "ogg", "libvorbis", 224000, 32, true, 7},
     96000,
     8,
     2048},
    {ExportFormat::opus,
     "Opus 160k",
     "opus",
     "opus",
     {W::ffmpeg, "opus", "libopus", 160000, 32, true},
     48000,
     8,
     960,
     true},
    {ExportFormat::aac, "AAC 256k (M4A)", "aac", "m4a", {W::ffmpeg, "ipod", "aac", 256000, 32, true}, 96000, 8, 2048},
    // Resolved to one of the rows above before a file is written; its
    // extension is the longest any of them has, for the room names need.
    {ExportFormat::same, "Same as source", "same", "flac", {W::ffmpeg, "flac", "flac", 0, 24, false}, 96000, 8, 2048},
};

const FormatRow& row(ExportFormat format) {
    return *std::find_if(std::begin(rows), std::end(rows), [&](const FormatRow& r) { return r.format == format; });
}

} // namespace

QString label(ExportFormat format) { return QString::fromLatin1(row(format).label); }
QString keyword(ExportFormat format) { return QString::fromLatin1(row(format).keyword); }

std::optional<ExportFormat> exportFormatNamed(const QString& name) {
    for (const FormatRow& r : rows) {
        if (name == QLatin1String(r.label) || name == QLatin1String(r.keyword))
            return r.format;
    }
    return std::nullopt;
}

QString fileExtension(ExportFormat format) { return QString::fromLatin1(row(format).extension); }
OutputEncoding outputEncoding(ExportFormat format) { return row(format).encoding; }
bool isLossless(ExportFormat format) { return row(format).encoding.bitRate == 0; }
int maximumChannels(ExportFormat format) { return row(format).maximumChannels; }
int64_t lengthTolerance(ExportFormat format) { return row(format).lengthTolerance; }
int64_t maximumRate(ExportFormat format) { return row(format).maximumRate; }

bool supportsRate(ExportFormat format, SampleRate rate) {
    const FormatRow& r = row(format);
    return r.onlyMaximumRate ? hertz(rate) == r.maximumRate : hertz(rate) <= r.maximumRate;
}

QString rateLimit(ExportFormat format) {
    return QStringLiteral("%1 holds %2 %3 Hz")
        .arg(label(format), row(format).onlyMaximumRate ? QStringLiteral("only") : QStringLiteral("at most"))
        .arg(row(format).maximumRate);
}

SampleRate heldRate(ExportFormat format, SampleRate wanted) {
    if (supportsRate(format, wanted))
        return wanted;
    return row(format).onlyMaximumRate || hertz(wanted) > maximumRate(format) ? *sampleRateOfHertz(maximumRate(format))
                                                                              : wanted;
}

ExportFormat sameFormatAs(const SourceEncoding& source) {
    const std::string& codec = source.codec;
    if (codec == "mp3")
        return ExportFormat::mp3_320;
    if (codec == "vorbis")
        return ExportFormat::vorbis;
    if (codec == "opus")
        return ExportFormat::opus;
    if (codec == "aac")
        return ExportFormat::aac;
    if (codec.starts_with("pcm_")) {
        if (source.isFloat || source.bitsPerSample > 24)
            return ExportFormat::wav32;
        return source.bitsPerSample <= 16 ? ExportFormat::wav16 : ExportFormat::wav24;
    }
    // FLAC, and the lossless ones it holds as well (ALAC, WavPack, AIFF ...).
    return source.bitRate > 0 ? ExportFormat::aac : ExportFormat::flac;
}

int64_t sameBitRate(const SourceEncoding& source) {
    constexpr int64_t rates[] = {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};
    for (const int64_t kbits : rates)
        if (source.bitRate > 0 && source.bitRate <= kbits * 1000 + 500)
            return kbits * 1000;
    return 320000;
}

std::optional<SampleRate> sampleRateOfHertz(int64_t hz) {
    for (SampleRate rate : allSampleRates) {
        if (hertz(rate) == hz)
            return rate;
    }
    return std::nullopt;
}

QString label(SampleRate rate) { return QStringLiteral("%1 Hz").arg(hertz(rate)); }
