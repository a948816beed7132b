#include "support/AudioFixtures.h"

#include "io/TemporaryFile.h"

#include <QCryptographicHash>
#include <QProcess>
#include <cstring>
#include <fcntl.h>
#include <numbers>
#include <random>
#include <sndfile.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace fixtures {

std::vector<float> sine(double frequency, double amplitude, int64_t sampleRate, int64_t samples) {
    std::vector<float> out(static_cast<size_t>(samples));
    for (int64_t i = 0; i < samples; ++i) {
        out[static_cast<size_t>(i)] =
            static_cast<float>(amplitude * std::sin(2.0 * std::numbers::pi * frequency * static_cast<double>(i) /
                                                    static_cast<double>(sampleRate)));
    }
    return out;
}

std::vector<float> noise(uint32_t seed, double amplitude, int64_t samples) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> dist(-amplitude, amplitude);
    std::vector<float> out(static_cast<size_t>(samples));
    for (float& s : out)
        s = static_cast<float>(dist(rng));
    return out;
}

std::vector<float> silence(int64_t samples) { return std::vector<float>(static_cast<size_t>(samples)); }

std::vector<float> concat(const std::vector<std::vector<float>>& parts) {
    std::vector<float> out;
    for (const auto& p : parts)
        out.insert(out.end(), p.begin(), p.end());
    return out;
}

void writeAudio(const QString& path, const std::vector<std::vector<float>>& channels, int64_t sampleRate, int format) {
    SF_INFO info{};
    info.samplerate = static_cast<int>(sampleRate);
    info.channels = static_cast<int>(channels.size());
    info.format = format;
    SNDFILE* f = sf_open(QFile::encodeName(path).constData(), SFM_WRITE, &info);
    if (!f)
        throw std::runtime_error(std::string("cannot write fixture: ") + sf_strerror(nullptr));
    const size_t frames = channels.empty() ? 0 : channels.front().size();
    std::vector<float> interleaved(frames * channels.size());
    for (size_t fr = 0; fr < frames; ++fr)
        for (size_t c = 0; c < channels.size(); ++c)
            interleaved[fr * channels.size() + c] = channels[c][fr];
    sf_writef_float(f, interleaved.data(), static_cast<sf_count_t>(frames));
    sf_close(f);
}

void writeWav(const QString& path, const std::vector<std::vector<float>>& channels, int64_t sampleRate) {
    writeAudio(path, channels, sampleRate, SF_FORMAT_WAV | SF_FORMAT_FLOAT);
}

void writeMonoWav(const QString& path, const std::vector<float>& samples, int64_t sampleRate) {
    writeWav(path, {samples}, sampleRate);
}

QString writeTone(const QTemporaryDir& dir, const QString& name, double seconds, double amplitude, int channels,
                  int64_t rate) {
    std::vector<std::vector<float>> samples;
    for (int c = 0; c < channels; ++c)
        samples.push_back(sine(1000.0 + 500.0 * c, amplitude, rate, static_cast<int64_t>(seconds * rate)));
    writeWav(dir.filePath(name), samples, rate);
    return dir.filePath(name);
}

std::vector<float> readFirstChannel(const QString& path) {
    SF_INFO info{};
    SNDFILE* f = sf_open(QFile::encodeName(path).constData(), SFM_READ, &info);
    if (!f)
        throw std::runtime_error("cannot read fixture");
    std::vector<float> interleaved(static_cast<size_t>(info.frames * info.channels));
    const sf_count_t got = sf_readf_float(f, interleaved.data(), info.frames);
    sf_close(f);
    std::vector<float> out(static_cast<size_t>(got));
    for (sf_count_t i = 0; i < got; ++i)
        out[static_cast<size_t>(i)] = interleaved[static_cast<size_t>(i * info.channels)];
    return out;
}

QString writeFile(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(bytes) != bytes.size())
        throw std::runtime_error("cannot write " + path.toStdString());
    return path;
}

QByteArray readFile(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

QString writeScript(const QString& dir, const QString& name, const QString& body) {
    const QString path = writeFile(QDir(dir).filePath(name), "#!/bin/sh\n" + body.toUtf8() + "\n");
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup |
                                    QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther);
    return path;
}

bool runFFmpeg(const QStringList& arguments) {
    QProcess p;
    p.setStandardInputFile(QProcess::nullDevice());
    p.start(QStringLiteral("ffmpeg"), QStringList{"-nostdin", "-v", "error", "-y"} + arguments);
    return p.waitForFinished(120000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

QString programOutput(const QString& program, const QStringList& arguments) {
    QProcess p;
    p.setStandardInputFile(QProcess::nullDevice());
    p.start(program, QStringList{"-v", "error"} + arguments);
    p.waitForFinished(120000);
    return QString::fromUtf8(p.readAllStandardOutput());
}

QString probed(const QString& path, const QString& entries) {
    return programOutput(QStringLiteral("ffprobe"), {"-show_entries", entries, "-of", "compact=p=0", path}).trimmed();
}

bool runFFmpeg(const QString& options, const QString& output) {
    return runFFmpeg(options.split(' ', Qt::SkipEmptyParts) << output);
}

QStringList filesIn(const QString& dir) {
    return QDir(dir).entryList(QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot);
}

QStringList temporaryFilesIn(const QString& dir) {
    QStringList names = filesIn(dir);
    names.removeIf([](const QString& n) { return !TemporaryFiles::isTemporaryName(n); });
    return names;
}

QMap<QString, QByteArray> sha256Of(const QStringList& paths) {
    QMap<QString, QByteArray> sums;
    for (const QString& path : paths) {
        QFile f(path);
        QCryptographicHash hash(QCryptographicHash::Sha256);
        sums[path] = f.open(QIODevice::ReadOnly) && hash.addData(&f) ? hash.result().toHex() : QByteArray();
    }
    return sums;
}

void spoil(const QString& path) {
    struct stat st {};
    QFile f(path);
    if (::stat(QFile::encodeName(path).constData(), &st) != 0 || !f.open(QIODevice::ReadWrite) ||
        f.write(QByteArray(f.size(), 0)) != st.st_size)
        throw std::runtime_error("cannot spoil " + path.toStdString());
    f.close();
    const timespec times[2] = {st.st_atim, st.st_mtim};
    ::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0);
}

QStringList specialFiles(const QString& dir) {
    const QString pipe = dir + "/pipe.wav", socket = dir + "/socket.wav", folder = dir + "/folder.wav";
    ::mkfifo(QFile::encodeName(pipe).constData(), 0600);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, QFile::encodeName(socket).constData(), sizeof address.sun_path - 1);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address); // leaves the socket file
    ::close(fd);
    QDir().mkpath(folder);
    return {pipe, socket, folder};
}

} // namespace fixtures
