// CPU the window uses while nothing plays: 10 files listed and analysed, one
// played for a moment and stopped, then 10 s of the event loop. The budget is
// 0.2 % of one core; the same 10 s of a bare event loop, measured first in
// this run, is the floor.
// Usage: build/bench/idle_cpu

#include "io/FFmpegLocator.h"
#include "playback/DefaultOutput.h"
#include "ui/BatchView.h"
#include "ui/MainWindow.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <cstdio>
#include <sys/resource.h>

namespace {

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// Percent of one core the process used over `ms` of its event loop.
double idlePercent(int ms) {
    const double before = cpuSeconds();
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
    return (cpuSeconds() - before) / (ms / 1000.0) * 100.0;
}

void runFor(int ms) {
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    constexpr int measureMs = 10000;
    const double floor = idlePercent(measureMs);

    QTemporaryDir dir;
    QList<QUrl> urls;
    for (int i = 0; i < 10; ++i) {
        const QString path = dir.filePath(QStringLiteral("tone%1.wav").arg(i));
        QProcess::execute(FFmpegLocator::find(),
                          {"-v", "error", "-y", "-f", "lavfi", "-i",
                           QStringLiteral("sine=frequency=%1:duration=20").arg(220 + 40 * i), "-ac", "2", path});
        urls << QUrl::fromLocalFile(path);
    }
    BatchSession state;
    MainWindow window(state, Dialogs::standard(), makeDefaultAudioOutput());
    window.show();
    state.addFiles(urls);
    while (state.isAnalyzing())
        runFor(50);
    window.batch()->playback().togglePlay();
    runFor(500);
    window.batch()->engine().stop();
    runFor(2000); // the output closes after a second of idling

    const double idle = idlePercent(measureMs);
    std::printf("idle window, 10 files, stopped: %.3f %% CPU over %d s (bare event loop: %.3f %%)\n", idle,
                measureMs / 1000, floor);
    std::printf("ratio to the 0.2 %% budget: %.2f (below 1 passes)\n", idle / 0.2);
    return idle < 0.2 ? 0 : 1;
}
