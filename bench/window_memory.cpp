// Peak resident memory of the window (offscreen) after it analysed N
// generated four-minute 44.1 kHz stereo files, hard links to one file: with
// no argument it runs itself for 1 file and for 300 and prints both, against
// the 150 MB budget for 300.
// Usage: build/bench/window_memory [N]

#include "BenchAudio.h"
#include "PeakMemory.h"
#include "playback/SilentOutput.h"
#include "ui/MainWindow.h"

#include <QApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <cmath>
#include <cstdio>

namespace {

int measure(int files) {
    QTemporaryDir dir;
    const QString tone = dir.filePath(QStringLiteral("tone.wav"));
    writeBenchWav(
        tone, 2, 240, SF_FORMAT_PCM_16,
        [](double t, int c) {
            return 0.3 * std::sin(2 * M_PI * (220.0 + 110.0 * c) * t) * (0.6 + 0.4 * std::sin(t * 0.3));
        },
        44100);
    const QList<QUrl> urls = linksTo(tone, files);
    BatchSession state;
    MainWindow window(state, Dialogs::standard(), std::make_unique<SilentOutput>());
    window.show();
    state.addFiles(urls);
    while (state.isAnalyzing())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    std::printf("%.1f\n", peakResidentMB());
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    if (argc > 1)
        return measure(std::max(1, std::atoi(argv[1])));
    const auto run = [&](int files) {
        QProcess self;
        self.start(QCoreApplication::applicationFilePath(), {QString::number(files)});
        self.waitForFinished(-1);
        return self.readAllStandardOutput().trimmed().toDouble();
    };
    const double one = run(1), many = run(300);
    std::printf("peak resident memory of the window: %.1f MB with 1 file, %.1f MB with 300 four-minute files\n", one,
                many);
    std::printf("300 files against the 150 MB budget: ratio %.2f\n", many / 150.0);
    return many <= 150.0 ? 0 : 1;
}
