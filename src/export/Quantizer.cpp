#include "export/Quantizer.h"

#include <algorithm>
#include <cmath>

Quantizer::Quantizer(int bits, bool dither, uint64_t seed)
    : steps_(std::ldexp(1.0, bits - 1)), lowest_(-steps_), highest_(steps_ - 1.0), dither_(dither), state_(seed) {}

double Quantizer::next() {
    // xorshift64*: fast, and the same noise for the same file every time.
    state_ ^= state_ >> 12;
    state_ ^= state_ << 25;
    state_ ^= state_ >> 27;
    return static_cast<double>((state_ * 0x2545F4914F6CDD1Dull) >> 11) * 0x1.0p-53 - 0.5;
}

namespace {
// To the nearest integer, halves to even, as nearbyint rounds, for any
// |x| under 2^51, in plain arithmetic that the compiler can vectorise: adding
// 1.5·2^52 leaves no fraction bits, so the sum is rounded, and subtracting
// it again is exact.
double rounded(double x) {
    constexpr double shift = 0x1.8p52;
    return (x + shift) - shift;
}
} // namespace

void Quantizer::process(float* samples, int64_t count) {
    // Larger magnitudes are clamped, so they need no exact rounding.
    const double limit = 0x1p50;
    if (dither_) {
        for (int64_t i = 0; i < count; ++i) {
            // The sum of two uniform steps is triangular.
            const double x = std::clamp(static_cast<double>(samples[i]) * steps_ + next() + next(), -limit, limit);
            samples[i] = static_cast<float>(std::clamp(rounded(x), lowest_, highest_) / steps_);
        }
        return;
    }
    for (int64_t i = 0; i < count; ++i) {
        const double x = std::clamp(static_cast<double>(samples[i]) * steps_, -limit, limit);
        samples[i] = static_cast<float>(std::clamp(rounded(x), lowest_, highest_) / steps_);
    }
}
