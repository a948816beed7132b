// "Export All" of a batch, one job per core, against running the same
// encoder commands one after another in the same run: 12 four-minute 48 kHz
// stereo files (links to one WAV, so both read from the same cache) to
// MP3 320k and to FLAC, taking turns, best of two each; and the bare
// commands one per core, for what the machine allows. Analysis happens
// before the clock starts.
// Usage: build/bench/batch_export_bench [files=12] [minutes=4]

#include "BenchAudio.h"
#include "io/EncoderProcess.h"
#include "io/FFmpegLocator.h"
#include "io/NativePath.h"
#include "jobs/JobRunner.h"
#include "session/BatchSession.h"
#include "session/ExportSession.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QThread>
#include <cmath>
#include <cstdio>
#include <optional>
#include <stdexcept>

namespace {

double seconds(const QElapsedTimer& timer) { return static_cast<double>(timer.nsecsElapsed()) / 1e9; }

// The run as the window starts it, every output measured and read back; the
// time until it finished, or -1.
double exportAll(ExportSession& exports, const QString& folder) {
    std::optional<ExportRun::Summary> result;
    QElapsedTimer timer;
    timer.start();
    const QMetaObject::Connection done =
        QObject::connect(&exports, &ExportSession::finished, [&](const ExportRun::Summary& r) { result = r; });
    exports.start(true, folder, ExistingOutputs::replace);
    while (!result)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    QObject::disconnect(done);
    if (result->failedCount() > 0 || result->error) {
        std::fprintf(stderr, "export failed: %s\n", qPrintable(failureOf(*result)));
        return -1.0;
    }
    return seconds(timer);
}

// The ffmpeg program's encode of every file with the export's gain,
// `threads` at a time (1: one after another), with nothing else around them.
double bareCommands(const BatchSession& state, const QString& folder, ExportFormat format, const QString& ffmpeg,
                    int threads) {
    QDir().mkpath(folder);
    const QStringList codec =
        // The same outputs as the export's: FLAC in 24 bits, MP3 at 320k.
        format == ExportFormat::flac ? QStringList{"-c:a", "flac", "-sample_fmt", "s32", "-bits_per_raw_sample", "24"}
                                     : QStringList{"-c:a", "libmp3lame", "-b:a", "320k"};
    QElapsedTimer timer;
    timer.start();
    std::atomic<bool> failed{false};
    JobRunner runner(threads);
    runner
        .start(static_cast<int64_t>(state.files().size()),
               [&](int64_t i, std::stop_token) {
                   const QString out = QDir(folder).filePath(QStringLiteral("%1.%2").arg(i).arg(fileExtension(format)));
                   const AudioFileItem& file = *state.files()[static_cast<size_t>(i)];
                   // The export's own gain: an encoder's work depends on the level.
                   const QString gain = QStringLiteral("volume=%1dB").arg(file.correctionDB(), 0, 'f', 2);
                   if (EncoderProcess::run(ffmpeg, QStringList{"-y", "-i", file.path(), "-af", gain, "-ar", "48000"} +
                                                       codec + QStringList{out})
                           .exitCode != 0)
                       failed.store(true);
               })
        .wait();
    return failed.load() ? -1.0 : seconds(timer);
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int files = argc > 1 ? std::max(1, std::atoi(argv[1])) : 12;
    const int minutes = argc > 2 ? std::max(1, std::atoi(argv[2])) : 4;
    QTemporaryDir dir;
    const QString source = dir.filePath(QStringLiteral("Source.wav"));
    if (!writeBenchWav(source, 2, minutes * 60, SF_FORMAT_PCM_16, [](double t, int c) {
            return 0.2 * std::sin(2 * M_PI * (c == 0 ? 220.0 : 330.0) * t) * (0.6 + 0.4 * std::sin(t));
        })) {
        std::fprintf(stderr, "cannot write the source\n");
        return 1;
    }
    BatchSession state;
    state.addFiles(linksTo(source, files));
    while (std::any_of(state.files().begin(), state.files().end(),
                       [](const AudioFileItemPtr& f) { return f->isAnalyzing(); }))
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);

    const QString ffmpeg = FFmpegLocator::find();
    ExportSession exports(state);
    std::fprintf(stderr, "%d files of %d min, 48 kHz stereo, %d cores:\n", files, minutes, QThread::idealThreadCount());
    for (ExportFormat format : {ExportFormat::mp3_320, ExportFormat::flac}) {
        exports.setFormat(format);
        const QString name = keyword(format);
        double ours = 1e9, reference = 1e9, bare = 1e9;
        for (int run = 0; run < 2; ++run) {
            const QString suffix = QStringLiteral("%1-%2").arg(name).arg(run);
            const double a = exportAll(exports, dir.filePath(QStringLiteral("ours-") + suffix));
            const double b =
                bareCommands(state, dir.filePath(QStringLiteral("reference-") + suffix), format, ffmpeg, 1);
            const double c = bareCommands(state, dir.filePath(QStringLiteral("bare-") + suffix), format, ffmpeg,
                                          QThread::idealThreadCount());
            if (a < 0 || b < 0 || c < 0) {
                std::fprintf(stderr, "a run failed\n");
                return 1;
            }
            ours = std::min(ours, a);
            reference = std::min(reference, b);
            bare = std::min(bare, c);
        }
        std::fprintf(stderr, "%-8s Export All %.2f s, the same commands one after another %.2f s: %.2fx faster\n",
                     qPrintable(name), ours, reference, reference / ours);
        // What the machine gives the bare commands side by side: the most a
        // run of these jobs can gain here.
        std::fprintf(stderr, "%-8s the bare commands one per core %.2f s: %.2fx\n", "", bare, reference / bare);
    }
    return 0;
}
