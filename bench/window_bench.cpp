// The longest stall of the window's event loop while it adds 200 files (and
// analyses them), exports 50 of them, and plays an hour-long Ogg file with a
// seek. A 2 ms timer runs throughout; a stall is the longest gap between two
// of its ticks. The window must never stall for more than 50 ms.
// Usage: build/bench/window_bench   (the hour-long file is made once in ~/.cache/sonivel/bench)

#include "io/FFmpegLocator.h"
#include "playback/SilentOutput.h"
#include "ui/ContentView.h"
#include "ui/MainWindow.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <cstdio>

namespace {

// Runs the event loop until `done`, and returns the longest gap between ticks.
template <typename Done> double longestStall(Done done, int timeoutMs = 300000) {
    QElapsedTimer clock;
    clock.start();
    qint64 last = clock.nsecsElapsed(), worst = 0;
    QTimer tick;
    tick.setInterval(2);
    QObject::connect(&tick, &QTimer::timeout, [&] {
        const qint64 now = clock.nsecsElapsed();
        worst = std::max(worst, now - last);
        last = now;
    });
    tick.start();
    while (!done() && clock.elapsed() < timeoutMs)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
    return static_cast<double>(worst) / 1e6;
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTemporaryDir dir;
    const QString ffmpeg = FFmpegLocator::find();
    const QString tone = dir.filePath("tone.wav");
    QProcess::execute(ffmpeg, {"-v", "error", "-y", "-f", "lavfi", "-i", "sine=frequency=440:duration=10", "-ac", "2", tone});
    QList<QUrl> urls;
    for (int i = 0; i < 200; ++i) {
        const QString link = dir.filePath(QStringLiteral("file%1.wav").arg(i));
        QFile::link(tone, link);
        urls << QUrl::fromLocalFile(link);
    }
    const QString hour = QDir::homePath() + "/.cache/sonivel/bench/sixty-minutes-48k.ogg";
    if (!QFileInfo::exists(hour)) {
        QDir().mkpath(QFileInfo(hour).path());
        QProcess::execute(ffmpeg, {"-v", "error", "-y", "-f", "lavfi", "-i", "sine=frequency=440:duration=3600:sample_rate=48000",
                                   "-ac", "2", "-c:a", "libvorbis", "-q:a", "2", hour});
    }

    AppState state;
    Dialogs dialogs = Dialogs::standard();
    const QString out = dir.filePath("out");
    dialogs.chooseExportFolder = [&](QWidget*) { return out; };
    dialogs.askAboutClipping = [](QWidget*, const AppState&) { return std::optional<bool>(true); };
    MainWindow window(state, dialogs, std::make_unique<SilentOutput>());
    window.show();

    state.addFiles(urls);
    const double adding = longestStall([&] { return state.statusMessage() == AppState::analysisCompleteMessage; });
    std::printf("add and analyse 200 files:   longest stall %6.1f ms\n", adding);

    state.loadFiles({state.files().begin(), state.files().begin() + 50});
    longestStall([&] { return state.statusMessage() == AppState::analysisCompleteMessage; });
    state.performExport(false, out);
    const double exporting = longestStall([&] { return !state.isExporting(); });
    std::printf("export 50 files:             longest stall %6.1f ms  (%s)\n", exporting, qPrintable(state.statusMessage()));

    AudioPlaybackEngine& engine = window.content()->engine();
    QElapsedTimer playing;
    playing.start();
    engine.play(hour, 0.0, -3.0, nullptr);
    const double play = longestStall([&] {
        if (playing.elapsed() > 1000 && engine.currentTime() < 1800)
            engine.seek(1800.0);
        return playing.elapsed() > 2500;
    });
    std::printf("play an hour-long Ogg, seek: longest stall %6.1f ms\n", play);
    engine.stop();
    return 0;
}
