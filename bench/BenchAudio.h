#pragma once

// Writes the long test files the benchmarks measure, one second at a time.

#include "export/ExportRun.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QList>
#include <QProcess>
#include <QString>
#include <QUrl>
#include <sndfile.h>
#include <vector>

// `sample(t, channel)` gives the value at time t seconds; `format` is an
// SF_FORMAT_* subtype of WAV. Returns false when the file cannot be written.
template <typename Sample>
bool writeBenchWav(const QString& path, int channels, int seconds, int subtype, Sample sample, int rate = 48000) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = SF_FORMAT_WAV | subtype;
    SNDFILE* f = sf_open(QFile::encodeName(path).constData(), SFM_WRITE, &info);
    if (!f)
        return false;
    std::vector<float> second(static_cast<size_t>(rate * channels));
    for (int s = 0; s < seconds; ++s) {
        for (size_t i = 0; i < static_cast<size_t>(rate); ++i) {
            const double t = s + static_cast<double>(i) / static_cast<double>(rate);
            for (int c = 0; c < channels; ++c)
                second[i * static_cast<size_t>(channels) + static_cast<size_t>(c)] = static_cast<float>(sample(t, c));
        }
        sf_writef_float(f, second.data(), rate);
    }
    sf_close(f);
    return true;
}

// Why an export run failed: the run's own reason, or the first file's.
inline QString failureOf(const ExportRun::Summary& summary) {
    if (summary.error)
        return summary.error->message;
    for (const ExportRun::FileResult& file : summary.files)
        if (file.error)
            return file.error->message;
    return summary.cancelled ? QStringLiteral("cancelled") : QStringLiteral("nothing was written");
}

// `count` links to `file` beside it ("file0.wav", "file1.wav" ...), as a batch to add.
inline QList<QUrl> linksTo(const QString& file, int count) {
    QList<QUrl> urls;
    const QDir dir = QFileInfo(file).dir();
    for (int i = 0; i < count; ++i) {
        const QString link = dir.filePath(QStringLiteral("file%1.wav").arg(i));
        QFile::link(file, link);
        urls << QUrl::fromLocalFile(link);
    }
    return urls;
}

// An hour of a 440 Hz tone as a 48 kHz stereo Ogg file, made once with
// `ffmpeg` in ~/.cache/sonivel/bench.
inline QString hourLongOgg(const QString& ffmpeg) {
    const QString hour = QDir::homePath() + "/.cache/sonivel/bench/sixty-minutes-48k.ogg";
    if (!QFileInfo::exists(hour)) {
        QDir().mkpath(QFileInfo(hour).path());
        QProcess::execute(ffmpeg, {"-v", "error", "-y", "-f", "lavfi", "-i",
                                   "sine=frequency=440:duration=3600:sample_rate=48000", "-ac", "2", "-c:a",
                                   "libvorbis", "-q:a", "2", hour});
    }
    return hour;
}
