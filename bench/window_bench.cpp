// The longest stall of the window's event loop while it adds 200 files (and
// analyses them), exports 50 of them, and plays an hour-long Ogg file with a
// seek. A 2 ms timer runs throughout; a stall is the longest gap between two
// of its ticks. The window must never stall for more than 50 ms.
// Usage: build/bench/window_bench   (the hour-long file is made once in ~/.cache/sonivel/bench)

#include "BenchAudio.h"
#include "EventLoopStall.h"
#include "io/FFmpegLocator.h"
#include "playback/SilentOutput.h"
#include "ui/BatchView.h"
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

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTemporaryDir dir;
    const QString ffmpeg = FFmpegLocator::find();
    const QString tone = dir.filePath("tone.wav");
    QProcess::execute(ffmpeg,
                      {"-v", "error", "-y", "-f", "lavfi", "-i", "sine=frequency=440:duration=10", "-ac", "2", tone});
    const QList<QUrl> urls = linksTo(tone, 200);
    const QString hour = hourLongOgg(ffmpeg);

    BatchSession state;
    Dialogs dialogs = Dialogs::standard();
    const QString out = dir.filePath("out");
    dialogs.chooseExportFolder = [&](QWidget*) { return out; };
    dialogs.askAboutClipping = [](QWidget*, const BatchSession&) { return std::optional<bool>(true); };
    MainWindow window(state, dialogs, std::make_unique<SilentOutput>());
    window.show();

    state.addFiles(urls);
    const double adding = longestStall([&] { return !state.isAnalyzing(); });
    std::printf("add and analyse 200 files:   longest stall %6.1f ms\n", adding);

    state.loadFiles({state.files().begin(), state.files().begin() + 50});
    longestStall([&] { return !state.isAnalyzing(); });
    window.exportSession().start(true, out, ExistingOutputs::keepBoth);
    const double exporting = longestStall([&] { return !window.exportSession().isExporting(); });
    std::printf("export 50 files:             longest stall %6.1f ms  (%s)\n", exporting,
                qPrintable(window.batch()->statusLine().text()));

    AudioPlaybackEngine& engine = window.batch()->engine();
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
