// Time from play() to its return, and to the first sounding sample the
// output receives, for a 60-minute M4A (AAC) file against the same audio as
// a WAV, from the start and from 30:00, in both modes (plain correction, and
// segment edits with the gain envelope). Target: the M4A sounds at most 20 ms
// after the WAV would.
// The output is the recording one, pulled as fast as the engine delivers.
// The long files are made once with ffmpeg in ~/.cache/sonivel/bench.
// Usage: build/bench/playback_bench

#include "app/AllocatorTuning.h"
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
                                      "sine=frequency=440:duration=" + duration + ":sample_rate=48000", "-ac", "2"} +
                              codec + QStringList{path});
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
    keepFreedMemoryForReuse(); // as the program does
    QCoreApplication app(argc, argv);
    const QString wav = cached("sixty-minutes-48k.wav", "3600", {"-c:a", "pcm_s16le"});
    const QString m4a = cached("sixty-minutes-48k.m4a", "3600", {"-c:a", "aac", "-b:a", "160k"});
    const auto median = [](const QString& path, bool edits, double from) {
        std::vector<Timing> runs;
        for (int i = 0; i < 5; ++i)
            runs.push_back(measure(path, edits, from));
        std::sort(runs.begin(), runs.end(), [](const Timing& a, const Timing& b) { return a.soundMs < b.soundMs; });
        return runs[2];
    };
    std::printf("%-12s %-9s %14s %14s %14s %14s %12s\n", "from", "mode", "WAV play() ms", "WAV sound ms",
                "M4A play() ms", "M4A sound ms", "M4A - WAV");
    for (bool edits : {false, true}) {
        for (double from : {0.0, 1800.0}) {
            const Timing w = median(wav, edits, from), m = median(m4a, edits, from);
            std::printf("%-12s %-9s %14.2f %14.2f %14.2f %14.2f %9.2f ms\n", from > 0 ? "30:00" : "start",
                        edits ? "envelope" : "player", w.returnMs, w.soundMs, m.returnMs, m.soundMs,
                        m.soundMs - w.soundMs);
        }
    }
    std::printf("(median of 5; the target is an M4A sounding at most 20 ms after the WAV)\n");
    return 0;
}
