#pragma once

#include "analysis/AnalysisResult.h"
#include "analysis/KWeightingFilter.h"

#include <cstdint>
#include <vector>

// Builds the min/max envelope of a signal whose length is known up front,
// from consecutive pieces. Bucket b covers samples [b·S, (b+1)·S) with
// S = max(n / K, 1) and K = min(n, requested); the last n − K·S samples fall
// in no bucket.
class EnvelopeBuilder {
public:
    EnvelopeBuilder(int64_t totalSamples, int64_t requestedBuckets);
    void add(const float* samples, int64_t count);
    WaveformEnvelope take();

private:
    WaveformEnvelope envelope_;
    int64_t samplesPerBucket_ = 1;
    int64_t covered_ = 0; // samples that fall in a bucket
    int64_t position_ = 0;
};

// Everything an analysis measures of a mono signal, fed in consecutive
// pieces: sample peak, envelope, K-weighting, squaring and 64-bit prefix sums
// (kept every stride samples). Feeding the signal whole or in pieces of any
// size gives identical figures; nothing it keeps grows faster than the
// prefix sums' few numbers a second.
class SignalMeasurement {
public:
    // `stride` 0: the one the analysis reads at (EnergyPrefix::strideFor).
    SignalMeasurement(int64_t expectedSamples, int64_t sampleRate, int64_t stride = 0);

    // Adds at most the remaining expected samples; any more are ignored.
    void add(const float* mono, int64_t count);
    int64_t measuredSamples() const { return measured_; }
    int64_t expectedSamples() const { return expected_; }

    // Completes the record. Throws AnalysisError(emptyFile) when nothing was
    // measured. Call only when every expected sample was added.
    AnalysisResult finish();

private:
    int64_t expected_;
    int64_t sampleRate_;
    int64_t measured_ = 0;
    float peak_ = 0.0f;
    EnvelopeBuilder envelope_;
    KWeightingFilter filter_;
    EnergyPrefix::Accumulator energy_;
    std::vector<float> scratch_;
};

// Down-mixes `frames` interleaved frames of `channels` channels into `mono`:
// the channels are added in channel order in 32-bit float and the sum is
// multiplied by the float value of 1.0 / channels. One channel is copied as is.
void downmixInterleaved(const float* interleaved, int64_t frames, int channels, float* mono);
