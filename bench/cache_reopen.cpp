// Reopening a batch that was analysed before: the time and peak memory of
// listing N files whose measurements are in the analysis cache, against
// measuring them all again, each in a process of its own. The bar: 1,000
// files in under 1 second and 150 MB. Usage: build/bench/cache_reopen [files=1000] [seconds=30]

#include "BenchAudio.h"
#include "PeakMemory.h"
#include "session/BatchSession.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <cmath>
#include <cstdio>
#include <optional>

namespace {

// One run in this process: lists the links in `dir` and waits until all are
// measured; prints the seconds and the peak memory.
int listAll(const QString& dir, int files, const QString& cacheFile) {
    std::optional<AnalysisCache> cache;
    if (!cacheFile.isEmpty())
        cache.emplace(cacheFile);
    QList<QUrl> urls;
    for (int i = 0; i < files; ++i)
        urls << QUrl::fromLocalFile(QStringLiteral("%1/file%2.wav").arg(dir).arg(i));
    QElapsedTimer clock;
    clock.start();
    BatchSession state(cache ? BatchSession::throughCache(*cache) : BatchSession::AnalysisOptions{});
    state.addFiles(urls);
    while (state.isAnalyzing()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QThread::usleep(200);
    }
    const double seconds = static_cast<double>(clock.nsecsElapsed()) / 1e9;
    int measured = 0;
    for (const AudioFileItemPtr& item : state.files())
        measured += item->analysis() ? 1 : 0;
    std::printf("%.3f %.1f %d\n", seconds, peakResidentMB(), measured);
    return measured == files ? 0 : 1;
}

struct Run {
    double seconds = 0.0;
    double peakMB = 0.0;
};

std::optional<Run> runChild(const QStringList& arguments) {
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(), arguments);
    if (!child.waitForFinished(-1) || child.exitCode() != 0) {
        std::fprintf(stderr, "run failed: %s\n", child.readAllStandardError().constData());
        return std::nullopt;
    }
    const QList<QByteArray> words = child.readAllStandardOutput().trimmed().split(' ');
    return Run{words.value(0).toDouble(), words.value(1).toDouble()};
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.value(1) == QLatin1String("--list"))
        return listAll(args.value(2), args.value(3).toInt(), args.value(4));

    const int files = argc > 1 ? std::max(1, std::atoi(argv[1])) : 1000;
    const int seconds = argc > 2 ? std::max(4, std::atoi(argv[2])) : 30;
    QTemporaryDir dir;
    const QString song = dir.filePath(QStringLiteral("song.wav"));
    if (!writeBenchWav(
            song, 2, seconds, SF_FORMAT_PCM_16,
            [](double t, int c) {
                return 0.3 * std::sin(2 * M_PI * (440.0 + 110.0 * c) * t) * (0.6 + 0.4 * std::sin(t));
            },
            44100)) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(song));
        return 1;
    }
    linksTo(song, files);
    const QString cacheFile = dir.filePath(QStringLiteral("cache/analysis.sqlite"));
    const QStringList list{QStringLiteral("--list"), dir.path(), QString::number(files)};

    const std::optional<Run> fill = runChild(list + QStringList{cacheFile});
    const std::optional<Run> reopen = runChild(list + QStringList{cacheFile});
    const std::optional<Run> again = runChild(list + QStringList{QString()});
    if (!fill || !reopen || !again)
        return 1;
    std::printf("%d files of %d s, 44.1 kHz stereo; cache file %.1f MB\n", files, seconds,
                static_cast<double>(QFileInfo(cacheFile).size()) / 1e6);
    std::printf("first listing, measured and kept: %.2f s, peak %.0f MB\n", fill->seconds, fill->peakMB);
    std::printf("reopened from the cache:          %.2f s, peak %.0f MB (bar: 1 s and 150 MB for 1,000 files)\n",
                reopen->seconds, reopen->peakMB);
    std::printf("measured again without it:        %.2f s, peak %.0f MB\n", again->seconds, again->peakMB);
    std::printf("ratio measuring again / reopening: %.1f\n", again->seconds / reopen->seconds);
    return 0;
}
