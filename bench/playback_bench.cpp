// Time from play() to its return, and to the first sounding sample the
// output receives, for a 5-minute WAV and a 60-minute Ogg Vorbis file, in
// both modes (plain correction, and segment edits with the gain envelope).
// The output is the recording one, pulled as fast as the engine delivers.
// The long files are made once with ffmpeg in ~/.cache/sonivel/bench.
// Usage: build/bench/playback_bench

#include "io/FFmpegLocator.h"
#include "playback/AudioPlaybackEngine.h"
#include "playback/MemoryOutput.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

QString cached(const QString& name, const QString& duration, const QStringList& codec) {
    const QString dir = QDir::homePath() + QStringLiteral("/.cache/sonivel/bench");
    QDir().mkpath(dir);
    const QString path = QDir(dir).filePath(name);
    if (!QFileInfo::exists(path)) {
        std::fprintf(stderr, "making %s ...\n", qPrintable(path));
        QProcess::execute(FFmpegLocator::find(),
                          QStringList{"-v", "error", "-y", "-f", "lavfi", "-i",
                                      "sine=frequency=440:duration=" + duration + ":sample_rate=48000",
                                      "-ac", "2"} + codec + QStringList{path});
    }
    return path;
}

struct Timing {
    double returnMs;
    double soundMs;
};

Timing measure(const QString& path, bool withEdits, double from) {
    auto output = std::make_unique<MemoryOutput>();
    MemoryOutput* out = output.get();
    AudioPlaybackEngine engine(std::move(output));
    SegmentEditState edits;
    if (withEdits) {
        edits.addSeparator(60.0);
        edits.setSegmentGain(1, 2.0);
    }
    QElapsedTimer timer;
    timer.start();
    engine.play(path, from, -3.0, withEdits ? &edits : nullptr);
    const double returned = static_cast<double>(timer.nsecsElapsed()) / 1e6;
    for (;;) {
        out->pull(256, 256);
        const std::vector<float> got = out->take();
        if (std::any_of(got.begin(), got.end(), [](float x) { return x != 0.0f; }))
            break;
        if (timer.elapsed() > 10000)
            return {returned, -1.0};
    }
    return {returned, static_cast<double>(timer.nsecsElapsed()) / 1e6};
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QString wav = cached("five-minutes-48k.wav", "300", {"-c:a", "pcm_s16le"});
    const QString ogg = cached("sixty-minutes-48k.ogg", "3600", {"-c:a", "libvorbis", "-q:a", "2"});
    std::printf("%-26s %-14s %10s %16s\n", "file", "mode", "play() ms", "first sound ms");
    for (const auto& [label, path] : {std::pair{"5-min WAV", wav}, std::pair{"60-min Ogg", ogg}}) {
        for (bool edits : {false, true}) {
            for (double from : {0.0, 1800.0}) {
                if (from > 0 && path == wav)
                    continue;
                std::vector<Timing> runs;
                for (int i = 0; i < 5; ++i)
                    runs.push_back(measure(path, edits, from));
                std::sort(runs.begin(), runs.end(), [](const Timing& a, const Timing& b) { return a.soundMs < b.soundMs; });
                const Timing median = runs[2];
                const QString name = QString::fromLatin1(label) + (from > 0 ? " from 30:00" : "");
                std::printf("%-26s %-14s %10.2f %16.2f\n", qPrintable(name), edits ? "envelope" : "player",
                            median.returnMs, median.soundMs);
            }
        }
    }
    std::printf("(median of 5; the target is a return within a few ms and sound within 50 ms)\n");
    return 0;
}
