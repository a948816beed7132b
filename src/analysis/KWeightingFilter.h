#pragma once

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

    const Coeffs& coeffs() const { return coeffs_; }

private:
    struct State {
        double x1 = 0, x2 = 0, y1 = 0, y2 = 0;
    };
    Coeffs coeffs_;
    State pre_;
    State high_;
};
