#pragma once

// Puts float samples on an integer format's grid (k / 2^(bits − 1)), as the
// file will hold them: rounded to the nearest step, with TPDF dither of one
// step peak (no noise shaping) where asked, and held within the format's
// range instead of wrapping.

#include <cstdint>

class Quantizer {
public:
    Quantizer(int bits, bool dither, uint64_t seed = 0x9E3779B97F4A7C15ull);
    void process(float* samples, int64_t count);

private:
    double next(); // uniform in [−0.5, 0.5)

    double steps_;
    double lowest_, highest_;
    bool dither_;
    uint64_t state_;
};
