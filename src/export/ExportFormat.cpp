#include "export/ExportFormat.h"

#include <QFileInfo>
#include <algorithm>
#include <cmath>

namespace {

struct FormatRow {
    ExportFormat format;
    const char* raw;
    const char* caseName;
    const char* extension;
    int bitDepth;
    bool isFloat;
    const char* codec;
    const char* bitRate; // empty when the codec takes none
};

constexpr FormatRow rows[] = {
    {ExportFormat::wav16, "WAV 16-bit", "wav16", "wav", 16, false, "pcm_s16le", ""},
    {ExportFormat::wav24, "WAV 24-bit", "wav24", "wav", 24, false, "pcm_s24le", ""},
    {ExportFormat::wav32, "WAV 32-bit float", "wav32", "wav", 32, true, "pcm_f32le", ""},
    {ExportFormat::mp3_320, "MP3 320k", "mp3_320", "mp3", 32, true, "libmp3lame", "320k"},
    {ExportFormat::mp3_192, "MP3 192k", "mp3_192", "mp3", 32, true, "libmp3lame", "192k"},
    {ExportFormat::mp3_128, "MP3 128k", "mp3_128", "mp3", 32, true, "libmp3lame", "128k"},
    {ExportFormat::flac, "FLAC", "flac", "flac", 32, true, "flac", ""},
};

const FormatRow& row(ExportFormat format) {
    return *std::find_if(std::begin(rows), std::end(rows), [&](const FormatRow& r) { return r.format == format; });
}

QStringList codecWith(ExportFormat format, const char* option) {
    const FormatRow& r = row(format);
    QStringList args{QString::fromLatin1(option), QString::fromLatin1(r.codec)};
    if (*r.bitRate)
        args << QStringLiteral("-b:a") << QString::fromLatin1(r.bitRate);
    return args;
}

} // namespace

QString rawValue(ExportFormat format) { return QString::fromLatin1(row(format).raw); }
QString caseName(ExportFormat format) { return QString::fromLatin1(row(format).caseName); }

std::optional<ExportFormat> exportFormatNamed(const QString& name) {
    for (const FormatRow& r : rows) {
        if (name == QLatin1String(r.raw) || name == QLatin1String(r.caseName))
            return r.format;
    }
    return std::nullopt;
}

QString fileExtension(ExportFormat format) { return QString::fromLatin1(row(format).extension); }
bool isWAV(ExportFormat format) { return fileExtension(format) == QLatin1String("wav"); }
int pcmBitDepth(ExportFormat format) { return row(format).bitDepth; }
bool pcmIsFloat(ExportFormat format) { return row(format).isFloat; }
QStringList codecArguments(ExportFormat format) { return codecWith(format, "-c:a"); }

QStringList encoderArguments(ExportFormat format) {
    return isWAV(format) ? QStringList() : codecWith(format, "-codec:a");
}

std::optional<SampleRate> sampleRateFromRawValue(int64_t hz) {
    for (SampleRate rate : allSampleRates) {
        if (rawValue(rate) == hz)
            return rate;
    }
    return std::nullopt;
}

QString label(SampleRate rate) { return QStringLiteral("%1 Hz").arg(rawValue(rate)); }

QStringList encoderInputArguments(const QString& input) {
    return {QStringLiteral("-y"),  QStringLiteral("-xerror"),       QStringLiteral("-i"), input,
            QStringLiteral("-vn"), QStringLiteral("-map_metadata"), QStringLiteral("-1")};
}

QStringList encoderOutputArguments(ExportFormat format, const QString& output) {
    // Each extension is also the name of FFmpeg's container for it.
    return {QStringLiteral("-f"), fileExtension(format), output};
}

QString volumeFilter(double gainDB) {
    return std::abs(gainDB) > 0.01 ? QString::asprintf("volume=%.2fdB", gainDB) : QString();
}

int64_t limiterTrimSamples(int64_t rateHz) { return std::max<int64_t>(rateHz * 5 / 1000, 1) - 1; }

QString limiterTrimFilter(int64_t trimSamples) { return QStringLiteral("atrim=start_sample=%1").arg(trimSamples); }

QString limiterChain(int64_t trimSamples) {
    return QStringList{limiterFilter, limiterTrimFilter(trimSamples), restartTimestampsFilter}.join(QLatin1Char(','));
}

QString exportFileName(const QString& sourcePath, double finalLUFS, ExportFormat format) {
    // completeBaseName: only the last extension goes ("My.Song.aiff" → "My.Song").
    return QStringLiteral("%1 (%2LUFS).%3")
        .arg(QFileInfo(sourcePath).completeBaseName(), QString::asprintf("%.0f", finalLUFS), fileExtension(format));
}

int64_t maximumRate(ExportFormat format) {
    return fileExtension(format) == QLatin1String("mp3") ? 48000 : rawValue(SampleRate::rate96000);
}
