#pragma once

#include "analysis/AnalysisResult.h"
#include "analysis/ChannelWeighting.h"
#include "analysis/EnergyPrefix.h"
#include "analysis/TruePeak.h"

#include <cstdint>
#include <vector>

// Builds the min/max envelope of a signal from consecutive pieces. Bucket b
// covers samples [b·S, (b+1)·S) with S = max(n / K, 1) and K = min(n,
// requested); the last n − K·S samples fall in no bucket. When the length n
// is only known to lie in a range up front (a lossy file's stated length),
// one set of buckets is kept for each S the range allows, and take(n) picks.
class EnvelopeBuilder {
public:
    EnvelopeBuilder(int64_t minTotal, int64_t maxTotal, int64_t requestedBuckets);
    EnvelopeBuilder(int64_t totalSamples, int64_t requestedBuckets)
        : EnvelopeBuilder(totalSamples, totalSamples, requestedBuckets) {}
    void add(const float* samples, int64_t count);
    // Whether take() can give the envelope of exactly `total` samples: the
    // length lies in the range, and every sample of its buckets was added.
    bool holds(int64_t total) const;
    // Only where holds(total), or for an empty range.
    WaveformEnvelope take(int64_t total);

private:
    struct Buckets {
        int64_t samplesPerBucket = 1;
        int64_t covered = 0; // samples that fall in a bucket at most
        std::vector<float> minValues, maxValues;
    };
    static void add(Buckets& b, int64_t position, const float* samples, int64_t count);
    int64_t bucketsFor(int64_t total) const;

    int64_t minTotal_ = 0;
    int64_t maxTotal_ = 0;
    int64_t requested_ = 0;
    std::vector<Buckets> candidates_; // by ascending samplesPerBucket
    int64_t position_ = 0;
};

// Everything an analysis measures of a signal, fed in consecutive pieces:
// sample and true peak over every channel, the envelope of the down-mix, the
// weighted K-weighted squares and their 64-bit prefix sums (kept every
// stride samples). Feeding the signal whole or in pieces of any size gives
// identical figures; nothing it keeps grows faster than the prefix sums' few
// numbers a second.
class SignalMeasurement {
public:
    // `stride` 0: the one the analysis reads at (EnergyPrefix::strideFor).
    // The signal has `expectedSamples` frames give or take `uncertainty`.
    SignalMeasurement(int64_t expectedSamples, int64_t sampleRate, int64_t stride = 0, int64_t uncertainty = 0,
                      ChannelWeighting weighting = ChannelWeighting::mono());

    // Adds `count` frames of `interleaved` and their down-mix `mono`, at most
    // up to the longest expected length; any more are ignored.
    void add(const float* interleaved, const float* mono, int64_t count);
    // A signal of one channel.
    void add(const float* mono, int64_t count) { add(mono, mono, count); }
    int64_t measuredSamples() const { return measured_; }
    // Whether a signal of `total` samples, all of them added, is measured
    // exactly: false when its length fell outside the expected ones.
    bool covers(int64_t total) const { return total == measured_ && envelope_.holds(total); }

    // Completes the record. Throws AnalysisErrors::noSamples() when nothing was
    // measured. Call only where covers(measuredSamples()).
    AnalysisResult finish();

private:
    int64_t expected_; // the longest expected length
    int64_t sampleRate_;
    int64_t measured_ = 0;
    int channels_;
    ChannelMix mix_;
    float peak_ = 0.0f;
    EnvelopeBuilder envelope_;
    ChannelEnergy channelEnergy_;
    TruePeakMeter truePeak_;
    EnergyPrefix::Accumulator energy_;
};

// Down-mixes `frames` interleaved frames of `channels` channels into `mono`:
// the channels are added in channel order in 32-bit float and the sum is
// multiplied by the float value of 1.0 / channels. One channel is copied as is.
void downmixInterleaved(const float* interleaved, int64_t frames, int channels, float* mono);

// The largest magnitude among `count` samples: the larger of the largest and
// minus the smallest, found in vector registers; 0 for none.
float largestMagnitude(const float* samples, int64_t count);
