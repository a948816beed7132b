// What the working list keeps per analysed file, for four-minute 44.1 kHz
// stereo files: the bytes of one analysis result (its envelope and curve) against its 200 KB budget, and the resident
// memory per file after the batch, against that result. A ratio near 1.0 means the list holds nothing per file beyond
// the result itself. Usage: build/bench/list_memory [files=50] [minutes=4]

#include "BenchAudio.h"
#include "session/BatchSession.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <cmath>
#include <cstdio>
#include <malloc.h>
#include <unistd.h>
#include <vector>

namespace {

double residentMiB() {
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0.0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? fields[1].toDouble() * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0)
                             : 0.0;
}

template <typename T> double bytesOf(const std::vector<T>& v) { return static_cast<double>(v.capacity() * sizeof(T)); }

double resultMiB(const AnalysisResult& r) {
    const double bytes = bytesOf(r.envelope.minValues) + bytesOf(r.envelope.maxValues) + bytesOf(r.times) +
                         bytesOf(r.loudnessCurve) + sizeof(AnalysisResult);
    return bytes / (1024.0 * 1024.0);
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int files = argc > 1 ? std::max(1, std::atoi(argv[1])) : 50;
    const int minutes = argc > 2 ? std::max(1, std::atoi(argv[2])) : 4;

    QTemporaryDir dir;
    const QString tone = dir.filePath(QStringLiteral("tone.wav"));
    const bool written = writeBenchWav(
        tone, 2, minutes * 60, SF_FORMAT_PCM_16,
        [](double t, int c) {
            return 0.3 * std::sin(2 * M_PI * (440.0 + 110.0 * c) * t) * (0.5 + 0.5 * std::sin(std::floor(t) * 0.1));
        },
        44100);
    if (!written) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(tone));
        return 1;
    }
    const QList<QUrl> urls = linksTo(tone, files);

    BatchSession state;
    const double before = residentMiB();
    state.addFiles(urls);
    while (state.isAnalyzing()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        QThread::msleep(5);
    }
    const double after = residentMiB();
    malloc_trim(0);
    const double trimmed = residentMiB();

    double resultTotal = 0.0;
    for (const AudioFileItemPtr& item : state.files())
        resultTotal += item->analysis() ? resultMiB(*item->analysis()) : 0.0;
    const double perResult = resultTotal / files;
    const double perFile = (after - before) / files;
    const double perFileTrimmed = (trimmed - before) / files;
    std::printf("%d files of %d min, 44.1 kHz stereo: one analysis result holds %.1f KB; budget 200 KB, ratio %.2f\n",
                files, minutes, perResult * 1048.576, perResult * 1048.576 / 200.0);
    std::printf("resident memory per analysed file: %.1f KB (%.1f KB after malloc_trim)\n", perFile * 1048.576,
                perFileTrimmed * 1048.576);
    std::printf("ratio resident per file / result: %.3f (%.3f after malloc_trim)\n", perFile / perResult,
                perFileTrimmed / perResult);
    return 0;
}
