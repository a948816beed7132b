// One file through the export pipeline (gain with segment edits, the
// true-peak limiter, the writer, the measuring and reading back of the
// output) as a ten-minute 48 kHz stereo 24-bit WAV at the source rate, as
// FLAC and as MP3 320k, against the ffmpeg program's own encode of the same
// file in the same run. Best of three runs each.
// Usage: build/bench/export_bench [minutes=10]   (figures on standard error)

#include "BenchAudio.h"
#include "editing/SegmentEditModel.h"
#include "export/ExportPipeline.h"
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
    const ExportJob job{source, "Source", 3.0, -16.0, false, edits, {}};
    const QString ffmpeg = FFmpegLocator::find();
    std::fprintf(stderr, "%d min, 48 kHz stereo, at the source rate, best of 3:\n", minutes);
    struct Case {
        ExportFormat format;
        QStringList codec;
    };
    for (const Case& c :
         {Case{ExportFormat::wav24, {"-c:a", "pcm_s24le"}},
          Case{ExportFormat::flac, {"-c:a", "flac", "-sample_fmt", "s32", "-bits_per_raw_sample", "24"}},
          Case{ExportFormat::mp3_320, {"-c:a", "libmp3lame", "-b:a", "320k"}}}) {
        const QString out = dir.filePath(keyword(c.format));
        QDir().mkpath(out);
        const ExportSettings settings{out, c.format, SampleRate::rate48000, true, -1.0, ExistingOutputs::replace};
        OutputNames names(out, settings.existing, {source});
        const double ours = bestOfThree([&] {
            ExportPipeline::exportFile(job, settings, names, {});
            return true;
        });
        const QString reference = dir.filePath(QStringLiteral("reference.") + fileExtension(c.format));
        const double theirs = bestOfThree([&] {
            return QProcess::execute(ffmpeg, QStringList{"-v", "error", "-y", "-i", source, "-af", "volume=3dB"} +
                                                 c.codec + QStringList{reference}) == 0;
        });
        if (theirs < 0) {
            std::fprintf(stderr, "the reference run of %s failed\n", qPrintable(ffmpeg));
            return 1;
        }
        std::fprintf(stderr, "%-8s pipeline %.3f s, ffmpeg volume filter %.3f s: pipeline / ffmpeg %.2fx\n",
                     qPrintable(keyword(c.format)), ours, theirs, ours / theirs);
    }
    return 0;
}
