#pragma once

#include "analysis/FusedMultiplyAdd.h"

#include <array>
#include <cstdint>
#include <vector>

// The K-weighting of ITU-R BS.1770 as a cascade of two biquads: a high-shelf
// pre-filter followed by the revised low-frequency B-curve high-pass.
// Samples are 32-bit floats; coefficients and the delay state are 64-bit.
class KWeightingFilter {
public:
    // Each section: b0, b1, b2, a1, a2 (a0 normalised to 1).
    struct Section {
        double b0, b1, b2, a1, a2;
    };
    struct Coeffs {
        Section preFilter;
        Section highPass;
    };

    explicit KWeightingFilter(int64_t sampleRate);

    // The published rows at 48000 and 44100 Hz; every other rate gets the
    // same analogue prototype designed for it, so that the weighting stays
    // at the same frequencies. Rates too low to map it use the 48 kHz row.
    static Coeffs coefficients(int64_t sampleRate);
    static constexpr int64_t minimumDesignedRate = 4000;

    // Filters `count` samples from `input` into `output` (they may be the same
    // buffer), continuing from and updating the delay state.
    void process(const float* input, float* output, int64_t count);

    // The high-pass's numerator is always g·(1, −2, 1): its gain g.
    double highPassGain() const { return coeffs_.highPass.b0; }

    // Filters two interleaved channels, `filters[c]` taking channel c, and
    // hands each frame's outputs to `take(outputs)`, a vector of two doubles
    // (Stereo): lane c holds the output of channel c over highPassGain(),
    // which process() multiplies by it and rounds to a float. The two share
    // vector registers, so a frame costs about what one channel's sample
    // does. `take` is inlined into the loop.
    using Stereo = double __attribute__((vector_size(2 * sizeof(double))));
    template <typename Take>
    static void processStereo(KWeightingFilter* filters, const float* interleaved, int64_t frames, Take take);

    const Coeffs& coeffs() const { return coeffs_; }

private:
    struct State {
        double x1 = 0, x2 = 0, y1 = 0, y2 = 0;
    };
    // One section's next output, of one channel or of a vector of them. The
    // input's terms come first and the outputs' last, the previous one's
    // after the one before: with fused multiply-adds, an output then waits
    // on the one before it for one operation and on the one before that for
    // two, and the feedback runs at one sample per operation.
    template <typename Value, typename Sec, typename St>
    [[gnu::always_inline]] static inline Value step(const Sec& s, St& state, Value x) {
        const Value y = s.b1 * state.x1 + s.b2 * state.x2 + s.b0 * x - s.a2 * state.y2 - s.a1 * state.y1;
        return shift(state, x, y);
    }
    // The high-pass's output over its gain g, whose numerator is then
    // (1, −2, 1): summed in plain adds, which leaves the multipliers to the
    // feedback. The state holds the outputs over g as well.
    template <typename Value, typename Sec, typename St>
    [[gnu::always_inline]] static inline Value highPassStep(const Sec& s, St& state, Value x) {
        const Value y = ((x + state.x2) - (state.x1 + state.x1)) - s.a2 * state.y2 - s.a1 * state.y1;
        return shift(state, x, y);
    }
    // Moves a section's delay line on by one sample; returns its output.
    template <typename Value, typename St>
    [[gnu::always_inline]] static inline Value shift(St& state, Value x, Value y) {
        state.x2 = state.x1;
        state.x1 = x;
        state.y2 = state.y1;
        state.y1 = y;
        return y;
    }

    Coeffs coeffs_;
    State pre_;
    State high_;
};

template <typename Take>
void KWeightingFilter::processStereo(KWeightingFilter* filters, const float* interleaved, int64_t frames, Take take) {
    // Lane c holds channel c: each lane does process()'s operations in its
    // order, so every output is the same to the last bit.
    constexpr int Channels = 2;
    using Lanes = Stereo;
    struct VectorSection {
        Lanes b0, b1, b2, a1, a2;
    };
    struct VectorState {
        Lanes x1, x2, y1, y2;
    };
    VectorSection p{}, h{};
    VectorState start{}, end{};
    for (int c = 0; c < Channels; ++c) {
        const Coeffs& k = filters[c].coeffs_;
        p.b0[c] = k.preFilter.b0, p.b1[c] = k.preFilter.b1, p.b2[c] = k.preFilter.b2;
        p.a1[c] = k.preFilter.a1, p.a2[c] = k.preFilter.a2;
        h.b0[c] = k.highPass.b0, h.b1[c] = k.highPass.b1, h.b2[c] = k.highPass.b2;
        h.a1[c] = k.highPass.a1, h.a2[c] = k.highPass.a2;
        const State& s = filters[c].pre_;
        const State& t = filters[c].high_;
        start.x1[c] = s.x1, start.x2[c] = s.x2, start.y1[c] = s.y1, start.y2[c] = s.y2;
        end.x1[c] = t.x1, end.x2[c] = t.x2, end.y1[c] = t.y1, end.y2[c] = t.y2;
    }
    FusedMultiplyAdd::run([&]() __attribute__((always_inline)) {
        // The states are copied in and out, so that they stay in registers.
        VectorState a = start, b = end;
        for (int64_t n = 0; n < frames; ++n) {
            const Lanes x = {interleaved[n * Channels], interleaved[n * Channels + 1]};
            take(highPassStep<Lanes>(h, b, step<Lanes>(p, a, x)));
        }
        start = a;
        end = b;
    });
    for (int c = 0; c < Channels; ++c) {
        filters[c].pre_ = {start.x1[c], start.x2[c], start.y1[c], start.y2[c]};
        filters[c].high_ = {end.x1[c], end.x2[c], end.y1[c], end.y2[c]};
    }
}
