#include "analysis/TruePeak.h"

#include <algorithm>
#include <array>
#include <bit>
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

// A float's magnitude as an integer that orders as the magnitudes do (NaN
// above infinity).
inline int32_t magnitudeBits(float x) {
    int32_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    return bits & INT32_MAX;
}

// Whether any of `count` samples is louder than `reach`: sixteen at a time,
// in a loop the compiler makes one of vector maxima, stopping at the first
// sixteen that hold one.
bool anyLouder(const float* samples, int64_t count, float reach) {
    const int32_t limit = magnitudeBits(reach);
    int64_t k = 0;
    for (; k + 16 <= count; k += 16) {
        int32_t loudest = 0;
        for (int j = 0; j < 16; ++j)
            loudest = std::max(loudest, magnitudeBits(samples[k + j]));
        if (loudest > limit)
            return true;
    }
    for (; k < count; ++k)
        if (magnitudeBits(samples[k]) > limit)
            return true;
    return false;
}

// The widest group of frames the kernels below take at once.
constexpr int64_t laneCount = 16;

// `Width` floats, and as many integers, in the compiler's vector types.
template <int Width> struct Vectors {
    typedef float Lanes __attribute__((vector_size(Width * sizeof(float))));
    typedef int32_t Bits __attribute__((vector_size(Width * sizeof(float))));
    struct Taps {
        Lanes phase[3][TruePeakDetector::tapsPerPhase];
    };
    // The phases' taps, each spread over a vector: read straight from here,
    // where the kernels would otherwise spread them anew on every call.
    static const Taps& taps() {
        static const Taps spread = [] {
            Taps t;
            for (size_t p = 0; p < 3; ++p)
                for (size_t j = 0; j < TruePeakDetector::tapsPerPhase; ++j)
                    for (int k = 0; k < Width; ++k)
                        t.phase[p][j][k] = phases()[p][j];
            return t;
        }();
        return spread;
    }
};

// The peaks of `Groups` groups of `Width` frames from frame `i` on, their
// sums overlapping in the pipeline; see peaksOf.
template <int Width, int Groups, bool EachFrame>
[[gnu::always_inline]] inline void groupsOf(const float* line, int64_t i, int64_t frames,
                                            const typename Vectors<Width>::Taps& taps, float* peaks,
                                            typename Vectors<Width>::Bits& largest) {
    using Lanes = typename Vectors<Width>::Lanes;
    using Bits = typename Vectors<Width>::Bits;
    // Read where they lie for each group: held in registers across groups,
    // as the compiler would otherwise do, they would not fit and be copied.
    const Lanes(*tap)[TruePeakDetector::tapsPerPhase] = taps.phase;
    asm("" : "+r"(tap));
    Lanes sums[Groups][3];
#pragma GCC unroll 4
    for (int g = 0; g < Groups; ++g)
        sums[g][0] = sums[g][1] = sums[g][2] = Lanes{};
#pragma GCC unroll 24
    for (size_t j = 0; j < TruePeakDetector::tapsPerPhase; ++j) {
#pragma GCC unroll 4
        for (int g = 0; g < Groups; ++g) {
            Lanes x;
            std::memcpy(&x, line + i + g * Width + j, sizeof x);
            sums[g][0] += tap[0][j] * x;
            sums[g][1] += tap[1][j] * x;
            sums[g][2] += tap[2][j] * x;
        }
    }
#pragma GCC unroll 4
    for (int g = 0; g < Groups; ++g) {
        const int64_t at = i + g * Width;
        Bits peak, other;
        std::memcpy(&peak, line + at + TruePeakDetector::tapsPerPhase / 2 - 1, sizeof peak);
        peak &= INT32_MAX;
        for (const Lanes& point : sums[g]) {
            std::memcpy(&other, &point, sizeof other);
            other &= INT32_MAX;
            peak = other > peak ? other : peak;
        }
        if constexpr (EachFrame) {
            for (int64_t k = 0; k < std::min<int64_t>(Width, frames - at); ++k)
                peaks[at + k] = std::max(peaks[at + k], std::bit_cast<float>(peak[k]));
        } else {
            // The lanes past the last frame count for nothing.
            Bits index;
            for (int k = 0; k < Width; ++k)
                index[k] = k;
            peak = index < static_cast<int32_t>(frames - at) ? peak : 0;
            largest = peak > largest ? peak : largest;
        }
    }
}

// The interpolated peaks of `frames` frames of one channel, `Width` frames
// at a time in the compiler's vector types, `Groups` groups at once. Each
// lane sums its taps in the order a plain loop would (with fused
// multiply-adds where the caller's target has them, which round once per
// tap). Magnitudes compare as their bit patterns. Groups may read past
// `frames` into the line's spare room; those outputs are left out.
// `EachFrame`: each frame's peak is kept in `peaks`; otherwise only the
// largest is returned, as bits.
template <int Width, int Groups, bool EachFrame>
[[gnu::always_inline]] inline int32_t peaksOf(const float* line, int64_t frames, float* peaks) {
    const typename Vectors<Width>::Taps& taps = Vectors<Width>::taps();
    typename Vectors<Width>::Bits largest{};
    int64_t i = 0;
    for (; frames - i >= Width * Groups; i += Width * Groups)
        groupsOf<Width, Groups, EachFrame>(line, i, frames, taps, peaks, largest);
    for (; i < frames; i += Width)
        groupsOf<Width, 1, EachFrame>(line, i, frames, taps, peaks, largest);
    int32_t loudest = 0;
    for (int k = 0; k < Width; ++k)
        loudest = std::max(loudest, largest[k]);
    return loudest;
}

// The kernel for the processor at hand: sixteen frames at a time with
// AVX-512, eight with AVX2 and fused multiply-adds, else four.
template <bool EachFrame> int32_t peaksFour(const float* line, int64_t frames, float* peaks) {
    return peaksOf<4, 2, EachFrame>(line, frames, peaks);
}
#if defined(__x86_64__)
template <bool EachFrame>
[[gnu::target("avx2,fma")]] int32_t peaksEight(const float* line, int64_t frames, float* peaks) {
    return peaksOf<8, 3, EachFrame>(line, frames, peaks);
}
template <bool EachFrame>
[[gnu::target("avx512f,avx512vl,avx512bw,avx512dq,avx2,fma")]] int32_t peaksSixteen(const float* line, int64_t frames,
                                                                                    float* peaks) {
    return peaksOf<16, 4, EachFrame>(line, frames, peaks);
}
#endif

using Kernel = int32_t (*)(const float*, int64_t, float*);
template <bool EachFrame> Kernel kernelFor() {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl") &&
        __builtin_cpu_supports("avx512dq"))
        return peaksSixteen<EachFrame>;
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))
        return peaksEight<EachFrame>;
#endif
    return peaksFour<EachFrame>;
}

} // namespace

TruePeakDetector::TruePeakDetector(int channels)
    : channels_(std::max(channels, 1)),
      lines_(static_cast<size_t>(channels_), std::vector<float>(tapsPerPhase - 1 + block + 3 * laneCount, 0.0f)),
      zeros_(static_cast<size_t>(latency * channels_), 0.0f) {}

void TruePeakDetector::process(const float* interleaved, int64_t frames, float* peaks, float floor) {
    for (int64_t done = 0; done < frames; done += block) {
        const int64_t n = std::min(block, frames - done);
        std::fill(peaks + done, peaks + done + n, 0.0f);
        processBlock(interleaved + done * channels_, n, peaks + done, floor);
    }
}

float TruePeakDetector::largest(const float* interleaved, int64_t frames, float floor) {
    float found = 0.0f;
    for (int64_t done = 0; done < frames; done += block) {
        const int64_t n = std::min(block, frames - done);
        found = std::max(found, processBlock(interleaved + done * channels_, n, nullptr, std::max(floor, found)));
    }
    return found;
}

void TruePeakDetector::flush(float* peaks) { process(zeros_.data(), latency, peaks); }

float TruePeakDetector::processBlock(const float* interleaved, int64_t frames, float* peaks, float floor) {
    constexpr int history = tapsPerPhase - 1;
    // Frames are interpolated, or found far enough under `floor`, a run at a time.
    constexpr int64_t run = 64;
    static const Kernel eachFrame = kernelFor<true>(), largestOnly = kernelFor<false>();
    const float reach = floor / largestGain();
    if (channels_ == 2) {
        float* left = lines_[0].data() + history;
        float* right = lines_[1].data() + history;
        for (int64_t i = 0; i < frames; ++i) {
            left[i] = interleaved[2 * i];
            right[i] = interleaved[2 * i + 1];
        }
    } else {
        for (int c = 0; c < channels_; ++c) {
            float* line = lines_[static_cast<size_t>(c)].data() + history;
            for (int64_t i = 0; i < frames; ++i)
                line[i] = interleaved[i * channels_ + c];
        }
    }
    int32_t loudest = 0;
    for (int c = 0; c < channels_; ++c) {
        float* line = lines_[static_cast<size_t>(c)].data();
        // Output i is the frame at line[i + latency − 1]: the sample
        // `latency` frames before the newest, with its points after it; its
        // points read line[i, i + tapsPerPhase).
        for (int64_t start = 0; start < frames; start += run) {
            const int64_t n = std::min(run, frames - start);
            const float* taken = line + start;
            if (!anyLouder(taken, n + history, reach))
                continue;
            if (peaks)
                eachFrame(taken, n, peaks + start);
            else
                loudest = std::max(loudest, largestOnly(taken, n, nullptr));
        }
        std::copy(line + frames, line + frames + history, line);
    }
    return std::bit_cast<float>(loudest);
}

TruePeakMeter::TruePeakMeter(int channels) : detector_(channels) {}

void TruePeakMeter::add(const float* interleaved, int64_t frames) {
    largest_ = std::max(largest_, detector_.largest(interleaved, frames, largest_));
}

double TruePeakMeter::finishDBTP() {
    std::array<float, TruePeakDetector::latency> peaks;
    detector_.flush(peaks.data());
    largest_ = std::max(largest_, *std::max_element(peaks.begin(), peaks.end()));
    return TruePeak::toDB(largest_);
}

namespace TruePeak {
double toDB(double linear) { return linear > 0.0 ? 20.0 * std::log10(linear) : -120.0; }
} // namespace TruePeak
