#pragma once

// A look-ahead limiter that keeps the true peak of its output at or under a
// ceiling. Each frame's true peak (four times oversampled, every channel)
// asks for a gain that brings it to the ceiling; the gain applied is the
// lowest asked for within reach, ramped down over the look-ahead so it
// arrives before the peak, held flat across the interpolator's span around
// it, and released smoothly. It never clips: where nothing passes the
// ceiling, the signal comes out unchanged, only delayed. Allocates only when
// constructed.

#include "analysis/TruePeak.h"

#include <cstdint>
#include <vector>

class TruePeakLimiter {
public:
    TruePeakLimiter(int channels, int64_t sampleRate, double ceilingDBTP);

    // Takes `frames` frames and writes as many to `out`, delayed by latency().
    void process(const float* in, int64_t frames, float* out);
    // The frames still inside: latency() of them, as if silence followed.
    void flush(float* out);
    int64_t latency() const { return TruePeakDetector::latency + delay_; }
    // The deepest gain reduction so far, in dB (0 when it never acted).
    double largestReductionDB() const;

private:
    void processBlock(const float* in, int64_t frames, float* out);
    bool passesThrough(int64_t frames) const;

    int channels_;
    float ceiling_;
    int64_t lookAhead_; // the ramp's length
    int64_t span_;      // the interpolator's reach on each side of a peak
    int64_t delay_;     // of the gain behind the detector
    float release_;     // per-frame factor of the exponential release

    TruePeakDetector detector_;
    std::vector<float> peaks_;
    // A monotonic queue of the gains asked for within the last `window`
    // frames (a ring of `window` entries): its head is their minimum.
    struct Asked {
        int64_t position;
        float gain;
    };
    int64_t window_;
    std::vector<Asked> queue_;
    int64_t queueHead_ = 0, queueSize_ = 0;
    // The running sum of the last lookAhead_ + 1 minima, a ring.
    std::vector<float> minima_;
    int64_t minimaAt_ = 0;
    double minimaSum_;
    // The audio, delayed by latency(), a ring of frames.
    std::vector<float> audio_;
    int64_t audioAt_ = 0;
    int64_t position_ = 0;
    float gain_ = 1.0f;
    float lowest_ = 1.0f;
    std::vector<float> zeros_;
};
