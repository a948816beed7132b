#pragma once

#include "analysis/EnergyPrefix.h"

#include <QString>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

// Min/max drawing envelope of the unfiltered mono samples.
struct WaveformEnvelope {
    std::vector<float> minValues;
    std::vector<float> maxValues;
    int64_t bucketCount = 0;

    bool operator==(const WaveformEnvelope&) const = default;
};

// A stretch of a file, in seconds.
struct TimeRange {
    double start = 0.0;
    double end = 0.0;

    bool operator==(const TimeRange&) const = default;
};

// One file's measurement. Everything but the three curve fields is fixed once
// analysis ends; the curve fields are replaced together when the curve is
// recomputed for another window length.
struct AnalysisResult {
    WaveformEnvelope envelope;
    int64_t sampleRate = 0;
    EnergyPrefix energy; // prefix sums of the squared K-weighted signal, every stride samples
    int64_t totalSamples = 0;
    std::vector<double> times;
    std::vector<double> loudnessCurve;
    double curveWindowSec = 3.0;
    double windowStart = 0.0;
    double windowEnd = 0.0;
    double peakLUFS = -70.0;
    double peakDBFS = -120.0;
    // Every block under the absolute gate: such a file is given no gain.
    bool isSilent() const { return peakLUFS <= -70.0; }
    double duration = 0.0;
    // Samples that were not numbers and were measured as silence.
    int64_t nonFiniteSamples = 0;

    bool operator==(const AnalysisResult&) const = default;

    // Stretches of at least 10 s whose curve stays more than 12 dB below
    // `peakLUFS`, in ascending order. Computed on every call.
    std::vector<TimeRange> softPassageRanges() const;
    // The warning the file's row and report show, when there is one: "3
    // samples were not numbers and were treated as silence".
    std::optional<QString> warning() const;
};
