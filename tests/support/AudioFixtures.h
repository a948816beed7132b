#pragma once

#include "io/Error.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

// Audio made by the tests themselves, and small helper programs for them.
namespace fixtures {

std::vector<float> sine(double frequency, double amplitude, int64_t sampleRate, int64_t samples);
// Deterministic white noise, uniform in [-amplitude, amplitude].
std::vector<float> noise(uint32_t seed, double amplitude, int64_t samples);
std::vector<float> silence(int64_t samples);
std::vector<float> concat(const std::vector<std::vector<float>>& parts);

// Writes deinterleaved channels with libsndfile; `format` is an SF_FORMAT_* value.
void writeAudio(const QString& path, const std::vector<std::vector<float>>& channels, int64_t sampleRate, int format);
// 32-bit float WAV.
void writeWav(const QString& path, const std::vector<std::vector<float>>& channels, int64_t sampleRate);
void writeMonoWav(const QString& path, const std::vector<float>& samples, int64_t sampleRate);
// `seconds` of a sine at `amplitude` in dir/name, 32-bit float WAV: 1 kHz,
// 1.5 kHz in a second channel, and so on. Returns the path.
QString writeTone(const QTemporaryDir& dir, const QString& name, double seconds, double amplitude = 0.25,
                  int channels = 1, int64_t rate = 48000);

// Zeroes a file's bytes in place, keeping its size, modification time and
// inode: only a kept measurement can still give its figures.
void spoil(const QString& path);

// A named pipe, a socket and a folder in `dir`, each named like a WAV file.
QStringList specialFiles(const QString& dir);

// Reads a file back with libsndfile, first channel only.
std::vector<float> readFirstChannel(const QString& path);

// Writes the bytes to path (throws when it cannot) and gives the path back.
QString writeFile(const QString& path, const QByteArray& bytes);
// A file's bytes, empty when it cannot be read.
QByteArray readFile(const QString& path);
// A `#!/bin/sh` script at dir/name with the given body, made executable.
QString writeScript(const QString& dir, const QString& name, const QString& body);

// Runs the real ffmpeg with the arguments; true when it exits 0.
bool runFFmpeg(const QStringList& arguments);
// The same with options split at spaces, then the output file.
bool runFFmpeg(const QString& options, const QString& output);

// What ffmpeg or ffprobe prints on standard output, told to print only errors.
QString programOutput(const QString& program, const QStringList& arguments);
// ffprobe's `entries` of a file on one line: "codec_name=mp3|sample_rate=48000".
QString probed(const QString& path, const QString& entries);

// Files in a folder, by name, hidden ones too.
QStringList filesIn(const QString& dir);
// The program's temporary files in a folder, by name.
QStringList temporaryFilesIn(const QString& dir);

// The SHA-256 of each file, by path (empty for a file that cannot be read):
// taken before and after a run, it shows which files the run changed.
QMap<QString, QByteArray> sha256Of(const QStringList& paths);

// Points TMPDIR at dir for its lifetime, then back.
class TemporaryFolder {
public:
    explicit TemporaryFolder(const QString& dir) : old_(qgetenv("TMPDIR")) {
        qputenv("TMPDIR", QFile::encodeName(dir));
    }
    ~TemporaryFolder() { qputenv("TMPDIR", old_); }

private:
    QByteArray old_;
};

// The description of the error f() throws, or "no error".
template <typename F> Error failureOf(F&& f) {
    try {
        f();
    } catch (const Failure& e) {
        return e.error();
    }
    return Error{Error::Kind::other, QStringLiteral("no error"), {}, std::nullopt};
}
template <typename F> QString errorOf(F&& f) { return failureOf(std::forward<F>(f)).message; }

} // namespace fixtures
