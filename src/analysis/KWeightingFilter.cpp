#include "analysis/KWeightingFilter.h"

#include <cmath>
#include <complex>
#include <numbers>

namespace {

constexpr KWeightingFilter::Coeffs rate44100{
    {1.5308412300498355, -2.6509799951547297, 1.1690790799215869, -1.6636551132560204,
     0.7125954280732254},
    {1.0, -2.0, 1.0, -1.9891696736297957, 0.9891990357870394}};

// The pre-filter is the same analogue high shelf as the other rows (centre
// 1681.97 Hz, +4.0 dB, Q 0.7072), mapped to 96 kHz by the bilinear transform
// prewarped at its centre frequency. The same mapping reproduces the 44.1 kHz
// and 48 kHz rows; the tests hold the derivation and the match.
constexpr KWeightingFilter::Coeffs rate96000{
    {1.5597142289757966, -2.9267415782510824, 1.3782612023158187, -1.8446094698901085,
     0.85584332293064125},
    {1.0, -2.0, 1.0, -1.9950144559570604, 0.9950249764557424}};

constexpr KWeightingFilter::Coeffs rate48000{
    {1.53512485958697, -2.69169618940638, 1.19839281085285, -1.69065929318241, 0.73248077421585},
    {1.0, -2.0, 1.0, -1.99004745483398, 0.99007225036621}};

} // namespace

KWeightingFilter::KWeightingFilter(int64_t sampleRate) : coeffs_(coefficients(sampleRate)) {}

KWeightingFilter::Coeffs KWeightingFilter::coefficients(int64_t sampleRate) {
    if (sampleRate == 44100) {
        return rate44100;
    }
    if (sampleRate == 96000) {
        return rate96000;
    }
    return rate48000;
}

void KWeightingFilter::process(const float* input, float* output, int64_t count) {
    const Section p = coeffs_.preFilter;
    const Section h = coeffs_.highPass;
    State a = pre_;
    State b = high_;
    for (int64_t n = 0; n < count; ++n) {
        const double x = input[n];
        const double y = p.b0 * x + p.b1 * a.x1 + p.b2 * a.x2 - p.a1 * a.y1 - p.a2 * a.y2;
        a.x2 = a.x1;
        a.x1 = x;
        a.y2 = a.y1;
        a.y1 = y;
        const double z = h.b0 * y + h.b1 * b.x1 + h.b2 * b.x2 - h.a1 * b.y1 - h.a2 * b.y2;
        b.x2 = b.x1;
        b.x1 = y;
        b.y2 = b.y1;
        b.y1 = z;
        output[n] = static_cast<float>(z);
    }
    pre_ = a;
    high_ = b;
}

std::vector<float> KWeightingFilter::apply(const std::vector<float>& input) {
    std::vector<float> output(input.size());
    process(input.data(), output.data(), static_cast<int64_t>(input.size()));
    return output;
}

double sectionResponseDB(const KWeightingFilter::Section& s, double frequency, double sampleRate) {
    const std::complex<double> z1 =
        std::polar(1.0, -2.0 * std::numbers::pi * frequency / sampleRate);
    const std::complex<double> z2 = z1 * z1;
    const std::complex<double> h = (s.b0 + s.b1 * z1 + s.b2 * z2) / (1.0 + s.a1 * z1 + s.a2 * z2);
    return 20.0 * std::log10(std::abs(h));
}

double kWeightingResponseDB(const KWeightingFilter::Coeffs& coeffs, double frequency,
                            double sampleRate) {
    return sectionResponseDB(coeffs.preFilter, frequency, sampleRate) +
           sectionResponseDB(coeffs.highPass, frequency, sampleRate);
}
