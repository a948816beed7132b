#include "analysis/KWeightingFilter.h"

#include <cassert>
#include <cmath>
#include <complex>
#include <numbers>

namespace {

constexpr KWeightingFilter::Coeffs rate44100{
    {1.5308412300498355, -2.6509799951547297, 1.1690790799215869, -1.6636551132560204, 0.7125954280732254},
    {1.0, -2.0, 1.0, -1.9891696736297957, 0.9891990357870394}};

constexpr KWeightingFilter::Coeffs rate48000{
    {1.53512485958697, -2.69169618940638, 1.19839281085285, -1.69065929318241, 0.73248077421585},
    {1.0, -2.0, 1.0, -1.99004745483398, 0.99007225036621}};

// The analogue prototype behind the published rows: a high shelf and a
// second-order high-pass, mapped to a rate by the bilinear transform
// prewarped at their corner frequencies. At 48 kHz it reproduces the
// published row to 1e-12.
constexpr double shelfHz = 1681.974450955533;
constexpr double shelfGainDB = 3.999843853973347;
constexpr double shelfQ = 0.7071752369554196;
constexpr double highPassHz = 38.13547087602444;
constexpr double highPassQ = 0.5003270373238773;

double prewarped(double hz, double rate) { return std::tan(std::numbers::pi * hz / rate); }

KWeightingFilter::Section designPreFilter(double rate) {
    const double k = prewarped(shelfHz, rate);
    const double vh = std::pow(10.0, shelfGainDB / 20.0);
    const double vb = std::pow(vh, 0.4996667741545416);
    const double a0 = 1.0 + k / shelfQ + k * k;
    return {(vh + vb * k / shelfQ + k * k) / a0, 2.0 * (k * k - vh) / a0, (vh - vb * k / shelfQ + k * k) / a0,
            2.0 * (k * k - 1.0) / a0, (1.0 - k / shelfQ + k * k) / a0};
}

// The published high-pass keeps numerators of 1, -2, 1, so its pass band
// sits at 1 + K/Q + K² rather than 1 (+0.043 dB at 48 kHz); other rates keep
// the 48 kHz pass band, so that their figures match.
KWeightingFilter::Section designHighPass(double rate) {
    const auto a0At = [](double r) {
        const double k = prewarped(highPassHz, r);
        return 1.0 + k / highPassQ + k * k;
    };
    const double k = prewarped(highPassHz, rate);
    const double a0 = a0At(rate);
    const double g = a0At(48000.0) / a0;
    return {g, -2.0 * g, g, 2.0 * (k * k - 1.0) / a0, (1.0 - k / highPassQ + k * k) / a0};
}

} // namespace

KWeightingFilter::KWeightingFilter(int64_t sampleRate) : coeffs_(coefficients(sampleRate)) {
    assert(coeffs_.highPass.b1 == -2.0 * coeffs_.highPass.b0 && coeffs_.highPass.b2 == coeffs_.highPass.b0);
}

KWeightingFilter::Coeffs KWeightingFilter::coefficients(int64_t sampleRate) {
    if (sampleRate == 44100) {
        return rate44100;
    }
    // Below about twice the shelf's corner the prototype cannot be mapped.
    if (sampleRate == 48000 || sampleRate < minimumDesignedRate) {
        return rate48000;
    }
    const auto rate = static_cast<double>(sampleRate);
    return {designPreFilter(rate), designHighPass(rate)};
}

void KWeightingFilter::process(const float* input, float* output, int64_t count) {
    const Section p = coeffs_.preFilter;
    const Section h = coeffs_.highPass;
    FusedMultiplyAdd::run([&]() __attribute__((always_inline)) {
        // The states are copied in and out, so that they stay in registers.
        State a = pre_, b = high_;
        const double g = h.b0;
        for (int64_t n = 0; n < count; ++n)
            output[n] = static_cast<float>(g * highPassStep<double>(h, b, step<double>(p, a, input[n])));
        pre_ = a;
        high_ = b;
    });
}

namespace FusedMultiplyAdd {

bool available() {
#if defined(__x86_64__)
    static const bool fused = __builtin_cpu_supports("fma");
    return fused;
#else
    return false;
#endif
}

} // namespace FusedMultiplyAdd
