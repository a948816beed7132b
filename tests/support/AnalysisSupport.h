#pragma once

// What tests and benchmarks need from the analysis beyond what the program
// itself uses: whole files and buffers in memory, and the filter's response.

#include "analysis/AnalysisResult.h"
#include "analysis/KWeightingFilter.h"

#include <QString>
#include <cstdint>
#include <vector>

namespace support {

struct MonoAudio {
    std::vector<float> samples;
    int64_t sampleRate = 0;
};

// A file's channels averaged, through the program's loader (and its
// fallback) and its downmix; an empty file is an emptyFile error.
MonoAudio loadMono(const QString& path);

// Runs samples in memory through the filter.
std::vector<float> filtered(KWeightingFilter& filter, const std::vector<float>& input);

// Measures mono samples already in memory.
AnalysisResult analyzeSamples(const std::vector<float>& mono, int64_t sampleRate);
// The waveform envelope of samples in memory.
WaveformEnvelope makeEnvelope(const std::vector<float>& samples, int64_t bucketCount);

// Magnitude response in dB of the K-weighting cascade at `frequency` Hz.
double kWeightingResponseDB(const KWeightingFilter::Coeffs& coeffs, double frequency, double sampleRate);

} // namespace support
