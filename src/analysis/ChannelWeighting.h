#pragma once

// The weight of each channel in a file's loudness, and the meter's stage
// that applies them.

#include "analysis/ChannelMix.h"
#include "analysis/KWeightingFilter.h"
#include "io/AudioReader.h"

#include <cstdint>
#include <vector>

struct ChannelWeighting {
    ChannelMix mix = ChannelMix::sum;
    std::vector<float> weights; // one per channel; used by `sum`

    int channels() const { return static_cast<int>(weights.size()); }
    // One channel, which both mixes measure alike.
    static ChannelWeighting mono() { return {ChannelMix::sum, {1.0f}}; }
};

// The weights of channels with these roles. A file that names no layout gets
// the usual one for its channel count: 5.1 (L R C LFE Ls Rs) for six, 5.0
// (L R C Ls Rs) for five, and every channel 1.0 otherwise.
ChannelWeighting weightingFor(ChannelMix mix, const std::vector<AudioReader::ChannelRole>& roles);

// Per frame, the weighted K-weighted square that the loudness sums: for
// `average`, the square of the filtered down-mix in 32-bit float, as the
// classic figure always took it (and so one channel in either mix); for
// `sum`, the weighted sum of the channels' filtered squares in 64 bits.
// Allocates only when a piece is longer than every one before.
class ChannelEnergy {
public:
    ChannelEnergy(int64_t sampleRate, ChannelWeighting weighting);
    // Adds each of `frames` frames' square to `sum`, one after another in
    // 64 bits, and returns the sum. `mono` is the down-mix of the frames of
    // `interleaved` (downmixInterleaved), or null: the classic mix then
    // makes it itself.
    double accumulate(const float* interleaved, const float* mono, int64_t frames, double sum);

private:
    ChannelWeighting weighting_;
    std::vector<KWeightingFilter> filters_;
    std::vector<float> channel_;      // one filtered channel
    std::vector<double> frameEnergy_; // with more than two channels
};
