// A WAV export past 4 GiB, as "Export All" makes it: 95 minutes of 48 kHz
// stereo (a tone at each end, silence between, the source written sparse)
// to 32-bit float at 96 kHz, 4.3 GB. The output must be read whole by the
// ffprobe program and by libsndfile, with the closing tone where it belongs.
// Prints the figures and the time the export took; exits 1 when either
// reader sees less than the whole file.
// Usage: build/bench/large_wav_export [minutes=95]

#include "BenchAudio.h"
#include "session/BatchSession.h"
#include "session/ExportSession.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <optional>
#include <sndfile.h>
#include <unistd.h>

namespace {

constexpr int rate = 48000;
constexpr int toneSeconds = 10;

// A float WAV header for `frames` stereo frames, then the tone at both ends;
// what lies between is a hole in the file.
bool writeSparseSource(const QString& path, int64_t frames) {
    const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0)
        return false;
    const auto dataBytes = static_cast<uint32_t>(frames * 8);
    QByteArray header;
    const auto put32 = [&](uint32_t v) { header.append(reinterpret_cast<const char*>(&v), 4); };
    const auto put16 = [&](uint16_t v) { header.append(reinterpret_cast<const char*>(&v), 2); };
    header.append("RIFF");
    put32(36 + dataBytes);
    header.append("WAVEfmt ");
    put32(16);
    put16(3);
    put16(2);
    put32(rate);
    put32(rate * 8);
    put16(8);
    put16(32);
    header.append("data");
    put32(dataBytes);
    std::vector<float> tone(static_cast<size_t>(toneSeconds * rate * 2));
    for (size_t i = 0; i < tone.size(); ++i)
        tone[i] = static_cast<float>(0.3 * std::sin(2 * M_PI * 440.0 * static_cast<double>(i / 2) / rate));
    const auto toneBytes = static_cast<ssize_t>(tone.size() * sizeof(float));
    const bool ok = ::write(fd, header.constData(), header.size()) == header.size() &&
                    ::write(fd, tone.data(), static_cast<size_t>(toneBytes)) == toneBytes &&
                    ::lseek(fd, 44 + dataBytes - toneBytes, SEEK_SET) >= 0 &&
                    ::write(fd, tone.data(), static_cast<size_t>(toneBytes)) == toneBytes;
    return ::close(fd) == 0 && ok;
}

double ffprobeSeconds(const QString& path) {
    QProcess ffprobe;
    ffprobe.start("ffprobe", {"-v", "error", "-show_entries", "format=duration", "-of", "csv=p=0", path});
    ffprobe.waitForFinished(600000);
    bool ok = false;
    const double seconds = ffprobe.readAllStandardOutput().trimmed().toDouble(&ok);
    return ok ? seconds : -1.0;
}

// The seconds libsndfile finds, and the level of the file's last second.
std::pair<double, double> libsndfileReading(const QString& path) {
    SF_INFO info{};
    SNDFILE* f = sf_open(QFile::encodeName(path).constData(), SFM_READ, &info);
    if (!f)
        return {-1.0, 0.0};
    std::vector<float> last(static_cast<size_t>(info.samplerate * info.channels));
    sf_seek(f, info.frames - info.samplerate, SEEK_SET);
    const sf_count_t read = sf_readf_float(f, last.data(), info.samplerate);
    sf_close(f);
    double peak = 0.0;
    for (sf_count_t i = 0; i < read * info.channels; ++i)
        peak = std::max(peak, static_cast<double>(std::abs(last[static_cast<size_t>(i)])));
    return {static_cast<double>(info.frames) / info.samplerate, peak};
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int minutes = argc > 1 ? std::max(1, std::atoi(argv[1])) : 95;
    QTemporaryDir dir(QDir::currentPath() + "/large-wav-XXXXXX");
    const QString source = dir.filePath("Long.wav");
    const int64_t frames = int64_t{minutes} * 60 * rate;
    if (!writeSparseSource(source, frames)) {
        std::fprintf(stderr, "cannot write the source\n");
        return 1;
    }
    BatchSession state;
    state.addFiles({QUrl::fromLocalFile(source)});
    while (state.isAnalyzing())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    ExportSession exports(state);
    exports.setFormat(ExportFormat::wav32);
    exports.setSampleRate(SampleRate::rate96000);
    std::optional<ExportRun::Summary> result;
    QObject::connect(&exports, &ExportSession::finished, [&](const ExportRun::Summary& r) { result = r; });
    QElapsedTimer timer;
    timer.start();
    exports.start(true, dir.path(), ExistingOutputs::replace);
    while (!result)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    const double took = static_cast<double>(timer.elapsed()) / 1000.0;
    if (result->writtenCount() != 1) {
        std::fprintf(stderr, "the export failed: %s\n", qPrintable(failureOf(*result)));
        return 1;
    }
    const QString output = result->files.front().written->path;
    const double expected = minutes * 60.0;
    const double probed = ffprobeSeconds(output);
    const auto [read, lastPeak] = libsndfileReading(output);
    std::fprintf(stderr, "%d min to WAV 32-bit float at 96 kHz: %.2f GB written in %.1f s\n", minutes,
                 static_cast<double>(QFileInfo(output).size()) / 1e9, took);
    std::fprintf(stderr, "ffprobe reads %.2f s, libsndfile %.2f s of %.2f s; the last second peaks at %.3f\n", probed,
                 read, expected, lastPeak);
    const bool whole = std::abs(probed - expected) < 0.1 && std::abs(read - expected) < 0.1 && lastPeak > 0.1;
    std::fprintf(stderr, whole ? "read whole by both\n" : "NOT read whole\n");
    return whole ? 0 : 1;
}
