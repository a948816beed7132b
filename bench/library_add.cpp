// Adding a music library to the window: a tree of 10,000 files (100 folders of
// 100 one-second WAV files, hard links to one) dropped as one folder, then
// measured, by a window that keeps its list on disk as the program's does.
// Prints the longest stall of the window's event loop (the longest
// gap between ticks of a 2 ms timer) from the drop until every file is
// measured, against the reference of the same run: the time the window took
// to list the same tree in one piece on its own thread, as it did before. The
// bar: no stall over 50 ms. Usage: build/bench/library_add [folders=100] [files=100]

#include "BenchAudio.h"
#include "EventLoopStall.h"
#include "playback/SilentOutput.h"
#include "ui/BatchView.h"
#include "ui/MainWindow.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTimer>
#include <cmath>
#include <cstdio>
#include <unistd.h>

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int folders = argc > 1 ? std::max(1, std::atoi(argv[1])) : 100;
    const int perFolder = argc > 2 ? std::max(1, std::atoi(argv[2])) : 100;

    QTemporaryDir dir;
    const QString song = dir.filePath(QStringLiteral("song.wav"));
    if (!writeBenchWav(
            song, 1, 1, SF_FORMAT_PCM_16, [](double t, int) { return 0.3 * std::sin(2 * M_PI * 440 * t); }, 44100)) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(song));
        return 1;
    }
    const QString library = dir.filePath(QStringLiteral("Library"));
    for (int f = 0; f < folders; ++f) {
        const QString album = QStringLiteral("%1/Artist %2/Album").arg(library).arg(f, 3, 10, QLatin1Char('0'));
        QDir().mkpath(album);
        for (int t = 0; t < perFolder; ++t)
            ::link(QFile::encodeName(song).constData(),
                   QFile::encodeName(QStringLiteral("%1/%2 Track.wav").arg(album).arg(t, 3, 10, QLatin1Char('0'))));
    }
    const int total = folders * perFolder;

    // The reference: the whole tree listed in one piece on the window's thread.
    double reference = 0.0;
    {
        BatchSession state;
        MainWindow window(state, Dialogs::standard(), std::make_unique<SilentOutput>());
        window.show();
        QElapsedTimer clock;
        clock.start();
        state.addListed(BatchSession::withFoldersOpened({library}));
        reference = static_cast<double>(clock.nsecsElapsed()) / 1e6;
    }

    BatchSession state;
    MainWindow window(state, Dialogs::standard(), std::make_unique<SilentOutput>());
    window.show();
    window.keepListAt(dir.filePath(QStringLiteral("working-list.json"))); // as the real window does
    QElapsedTimer clock;
    double listed = 0.0;
    QTimer::singleShot(0, &window, [&] {
        clock.start();
        window.batch()->addPaths({library});
    });
    const double stall = longestStall([&] {
        if (listed == 0.0 && state.files().size() == static_cast<size_t>(total))
            listed = static_cast<double>(clock.elapsed()) / 1000.0;
        return clock.isValid() && !state.isAnalyzing();
    });
    int measured = 0;
    for (const AudioFileItemPtr& item : state.files())
        measured += item->analysis() ? 1 : 0;
    std::printf("%d files in %d folders: all listed after %.2f s, %d measured after %.1f s\n", total, folders, listed,
                measured, static_cast<double>(clock.elapsed()) / 1000.0);
    std::printf("longest stall from the drop until all are measured: %.1f ms (bar: 50 ms)\n", stall);
    std::printf("reference, the tree listed in one piece on the window's thread: %.1f ms\n", reference);
    std::printf("ratio longest stall / reference: %.2f\n", stall / reference);
    return 0;
}
