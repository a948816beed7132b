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

void Quantizer::process(float* samples, int64_t count) {
    for (int64_t i = 0; i < count; ++i) {
        double x = static_cast<double>(samples[i]) * steps_;
        if (dither_)
            x += next() + next(); // the sum of two uniform steps is triangular
        samples[i] = static_cast<float>(std::clamp(std::nearbyint(x), lowest_, highest_) / steps_);
    }
}
