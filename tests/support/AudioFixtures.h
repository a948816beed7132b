#pragma once

#include <QString>
#include <cstdint>
#include <vector>

// Audio made by the tests themselves, and small helper programs for them.
namespace fixtures {

std::vector<float> sine(double frequency, double amplitude, int64_t sampleRate, int64_t samples);
// Deterministic white noise, uniform in [-amplitude, amplitude].
std::vector<float> noise(uint32_t seed, double amplitude, int64_t samples);
std::vector<float> silence(int64_t samples);
std::vector<float> concat(const std::vector<std::vector<float>>& parts);

// Writes deinterleaved channels with libsndfile; `format` is an SF_FORMAT_* value.
void writeAudio(const QString& path, const std::vector<std::vector<float>>& channels,
                int64_t sampleRate, int format);
// 32-bit float WAV.
void writeWav(const QString& path, const std::vector<std::vector<float>>& channels,
              int64_t sampleRate);
void writeMonoWav(const QString& path, const std::vector<float>& samples, int64_t sampleRate);

// Reads a file back with libsndfile, first channel only.
std::vector<float> readFirstChannel(const QString& path);

// A `#!/bin/sh` script at dir/name with the given body, made executable.
QString writeScript(const QString& dir, const QString& name, const QString& body);

// Runs the real ffmpeg with the arguments; true when it exits 0.
bool runFFmpeg(const QStringList& arguments);

// Files in a folder, by name.
QStringList filesIn(const QString& dir);

} // namespace fixtures
