// The in-app renderer writing a ten-minute 48 kHz stereo file as 24-bit WAV
// at the source rate, against `ffmpeg -i SRC -af volume=3dB -c:a pcm_s24le OUT`
// on the same file in the same run. Best of three runs each.
// Usage: build/bench/export_bench [minutes=10]   (figures on standard error;
// standard output carries the renderer's own log lines)

#include "BenchAudio.h"
#include "editing/SegmentEditModel.h"
#include "export/InAppRenderer.h"
#include "io/FFmpegLocator.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace {

template <typename Work> double bestOfThree(Work work) {
    double best = 1e9;
    for (int i = 0; i < 3; ++i) {
        QElapsedTimer timer;
        timer.start();
        if (!work())
            return -1.0;
        best = std::min(best, static_cast<double>(timer.nsecsElapsed()) / 1e9);
    }
    return best;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int minutes = argc > 1 ? std::max(1, std::atoi(argv[1])) : 10;
    QTemporaryDir dir;
    const QString source = dir.filePath(QStringLiteral("Source.wav"));
    const bool written = writeBenchWav(source, 2, minutes * 60, SF_FORMAT_PCM_24, [](double t, int c) {
        return 0.2 * std::sin(2 * M_PI * (c == 0 ? 220.0 : 330.0) * t);
    });
    if (!written) {
        std::fprintf(stderr, "cannot write the source\n");
        return 1;
    }

    SegmentEditSnapshot edits = SegmentEditSnapshot::initial();
    SegmentEditModel::addSeparator(edits, 60.0);
    SegmentEditModel::setSegmentGain(edits, 1, 1.5);
    const RenderJob job{{source, 3.0, -16.0, dir.filePath(QStringLiteral("rendered")), ExportFormat::wav24,
                         SampleRate::rate48000, false},
                        edits};
    const InAppRenderer renderer;
    const double ours = bestOfThree([&] {
        renderer.render(job);
        return true;
    });

    const QString ffmpeg = FFmpegLocator::find();
    const QString reference = dir.filePath(QStringLiteral("reference.wav"));
    const double theirs = bestOfThree([&] {
        return QProcess::execute(ffmpeg, {"-v", "error", "-y", "-i", source, "-af", "volume=3dB", "-c:a", "pcm_s24le",
                                          reference}) == 0;
    });
    if (theirs < 0) {
        std::fprintf(stderr, "the reference run of %s failed\n", qPrintable(ffmpeg));
        return 1;
    }
    std::fprintf(stderr, "%d min, 48 kHz stereo, 24-bit WAV at the source rate, best of 3:\n", minutes);
    std::fprintf(stderr, "in-app renderer %.3f s, ffmpeg volume filter %.3f s\n", ours, theirs);
    std::fprintf(stderr, "ratio ffmpeg / renderer: %.2fx\n", theirs / ours);
    return 0;
}
