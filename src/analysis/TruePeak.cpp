#include "analysis/TruePeak.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace {

using Phase = std::array<float, TruePeakDetector::tapsPerPhase>;

// Zeroth-order modified Bessel function of the first kind, for the window.
double besselI0(double x) {
    double sum = 1.0, term = 1.0;
    for (int k = 1; k < 40; ++k) {
        term *= (x / (2.0 * k)) * (x / (2.0 * k));
        sum += term;
    }
    return sum;
}

// The three fractional phases (1/4, 2/4, 3/4 of a sample) of a sinc cut off
// at the original rate's Nyquist frequency, Kaiser-windowed over the
// interpolator's span. Tap j weighs the sample j − (latency − 1) frames from
// the one the point follows.
std::array<Phase, 3> designPhases() {
    constexpr int half = TruePeakDetector::tapsPerPhase * TruePeakDetector::oversampling / 2;
    constexpr double beta = 7.0;
    std::array<Phase, 3> phases{};
    for (int p = 1; p < TruePeakDetector::oversampling; ++p) {
        for (int j = 0; j < TruePeakDetector::tapsPerPhase; ++j) {
            // Distance, in samples, from the point to the tap's sample.
            const double t = static_cast<double>(p) / TruePeakDetector::oversampling -
                             static_cast<double>(j - (TruePeakDetector::tapsPerPhase / 2 - 1));
            const double x = t * TruePeakDetector::oversampling / half;
            const double window = std::abs(x) < 1.0 ? besselI0(beta * std::sqrt(1.0 - x * x)) / besselI0(beta) : 0.0;
            const double sinc = std::sin(M_PI * t) / (M_PI * t);
            phases[static_cast<size_t>(p - 1)][static_cast<size_t>(j)] = static_cast<float>(sinc * window);
        }
    }
    return phases;
}

const std::array<Phase, 3>& phases() {
    static const std::array<Phase, 3> designed = designPhases();
    return designed;
}

// The most any interpolated point can be over the largest magnitude among
// its taps: the largest sum of one phase's absolute taps (2.25, +7 dB), with
// room for the float sums' rounding.
float largestGain() {
    static const float gain = [] {
        float largest = 1.0f;
        for (const Phase& phase : phases()) {
            float sum = 0.0f;
            for (float tap : phase)
                sum += std::abs(tap);
            largest = std::max(largest, sum);
        }
        return largest * 1.001f;
    }();
    return gain;
}

// The widest group of frames the kernel below takes at once.
constexpr int64_t laneCount = 8;

// The interpolated peaks of `frames` frames of one channel, a group of
// frames at a time in the compiler's vector types (`Lanes` floats, `Bits`
// the same lanes as integers). Each lane sums its taps in the order a plain
// loop would, without fused multiply-adds, so every width gives the same
// figures. Magnitudes compare as their bit patterns. Groups may read past
// `frames` into the line's spare room; those outputs are left out.
template <typename Lanes, typename Bits>
[[gnu::always_inline]] inline void interpolatedPeaks(const float* line, int64_t frames,
                                                     const std::array<Phase, 3>& taps, float* peaks) {
    constexpr auto lanes = static_cast<int64_t>(sizeof(Lanes) / sizeof(float));
    for (int64_t i = 0; i < frames; i += lanes) {
        const float* window = line + i; // tapsPerPhase samples per lane
        Lanes p0{}, p1{}, p2{}, x;
        for (size_t j = 0; j < TruePeakDetector::tapsPerPhase; ++j) {
            std::memcpy(&x, window + j, sizeof x);
            p0 += taps[0][j] * x;
            p1 += taps[1][j] * x;
            p2 += taps[2][j] * x;
        }
        std::memcpy(&x, window + TruePeakDetector::tapsPerPhase / 2 - 1, sizeof x);
        Bits peak, other;
        std::memcpy(&peak, &x, sizeof x);
        peak &= INT32_MAX;
        for (const Lanes* point : {&p0, &p1, &p2}) {
            std::memcpy(&other, point, sizeof other);
            other &= INT32_MAX;
            const Bits wins = other > peak;
            peak = (peak & ~wins) | (other & wins);
        }
        float out[lanes];
        std::memcpy(out, &peak, sizeof out);
        for (int64_t k = 0; k < std::min(lanes, frames - i); ++k)
            peaks[i + k] = std::max(peaks[i + k], out[k]);
    }
}

using Lanes4 = float __attribute__((vector_size(16)));
using Bits4 = int32_t __attribute__((vector_size(16)));
using Lanes8 = float __attribute__((vector_size(32)));
using Bits8 = int32_t __attribute__((vector_size(32)));

void peaksFour(const float* line, int64_t frames, const std::array<Phase, 3>& taps, float* peaks) {
    interpolatedPeaks<Lanes4, Bits4>(line, frames, taps, peaks);
}

// Eight at once where the processor has AVX2.
#if defined(__x86_64__)
[[gnu::target("avx2")]] void peaksEight(const float* line, int64_t frames, const std::array<Phase, 3>& taps,
                                        float* peaks) {
    interpolatedPeaks<Lanes8, Bits8>(line, frames, taps, peaks);
}
bool hasEight() { return __builtin_cpu_supports("avx2"); }
#else
void peaksEight(const float* line, int64_t frames, const std::array<Phase, 3>& taps, float* peaks) {
    interpolatedPeaks<Lanes8, Bits8>(line, frames, taps, peaks);
}
bool hasEight() { return false; }
#endif

} // namespace

TruePeakDetector::TruePeakDetector(int channels)
    : channels_(std::max(channels, 1)),
      lines_(static_cast<size_t>(channels_), std::vector<float>(tapsPerPhase - 1 + block + laneCount, 0.0f)),
      zeros_(static_cast<size_t>(latency * channels_), 0.0f) {}

void TruePeakDetector::process(const float* interleaved, int64_t frames, float* peaks, float floor) {
    for (int64_t done = 0; done < frames; done += block) {
        const int64_t n = std::min(block, frames - done);
        processBlock(interleaved + done * channels_, n, peaks + done, floor);
    }
}

void TruePeakDetector::flush(float* peaks) { process(zeros_.data(), latency, peaks); }

void TruePeakDetector::processBlock(const float* interleaved, int64_t frames, float* peaks, float floor) {
    constexpr int history = tapsPerPhase - 1;
    // Frames are interpolated, or found far enough under `floor`, a run at a time.
    constexpr int64_t run = 64;
    std::fill(peaks, peaks + frames, 0.0f);
    const std::array<Phase, 3>& taps = phases();
    static const bool eight = hasEight();
    const float reach = floor / largestGain();
    for (int c = 0; c < channels_; ++c) {
        float* line = lines_[static_cast<size_t>(c)].data();
        for (int64_t i = 0; i < frames; ++i)
            line[history + i] = interleaved[i * channels_ + c];
        // Output i is the frame at line[i + latency − 1]: the sample
        // `latency` frames before the newest, with its points after it; its
        // points read line[i, i + tapsPerPhase).
        for (int64_t start = 0; start < frames; start += run) {
            const int64_t n = std::min(run, frames - start);
            const float* taken = line + start;
            // Loud runs stop the search at their first loud sample.
            if (std::any_of(taken, taken + n + history, [reach](float x) { return std::abs(x) > reach; }))
                (eight ? peaksEight : peaksFour)(taken, n, taps, peaks + start);
        }
        std::copy(line + frames, line + frames + history, line);
    }
}

TruePeakMeter::TruePeakMeter(int channels) : detector_(channels), peaks_(1024) {}

void TruePeakMeter::add(const float* interleaved, int64_t frames) {
    const int64_t block = static_cast<int64_t>(peaks_.size());
    for (int64_t done = 0; done < frames; done += block) {
        const int64_t n = std::min(block, frames - done);
        detector_.process(interleaved + done * detector_.channels(), n, peaks_.data(), largest_);
        largest_ = std::max(largest_, *std::max_element(peaks_.begin(), peaks_.begin() + n));
    }
}

double TruePeakMeter::finishDBTP() {
    detector_.flush(peaks_.data());
    largest_ = std::max(largest_, *std::max_element(peaks_.begin(), peaks_.begin() + TruePeakDetector::latency));
    return TruePeak::toDB(largest_);
}

namespace TruePeak {
double toDB(double linear) { return linear > 0.0 ? 20.0 * std::log10(linear) : -120.0; }
} // namespace TruePeak
