#include "analysis/TruePeak.h"

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

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
constexpr int64_t laneCount = 8;

// The interpolated peaks of `frames` frames of one channel, four frames at a
// time in the compiler's vector types. Each lane sums its taps in the order a
// plain loop would. Magnitudes compare as their bit patterns. Groups may read
// past `frames` into the line's spare room; those outputs are left out.
// `EachFrame`: each frame's peak is kept in `peaks`; otherwise only the
// largest is returned, as bits.
template <bool EachFrame>
int32_t peaksFour(const float* line, int64_t frames, const std::array<Phase, 3>& taps, float* peaks) {
    using Lanes = float __attribute__((vector_size(16)));
    using Bits = int32_t __attribute__((vector_size(16)));
    constexpr int64_t lanes = 4;
    int32_t largest = 0;
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
        for (int64_t k = 0; k < std::min(lanes, frames - i); ++k) {
            if constexpr (EachFrame)
                peaks[i + k] = std::max(peaks[i + k], std::bit_cast<float>(peak[k]));
            else
                largest = std::max(largest, peak[k]);
        }
    }
    return largest;
}

#if defined(__x86_64__)
// The largest magnitude of a group's samples and of its points, as bits.
[[gnu::target("avx2,fma"), gnu::always_inline]] inline __m256i largestOfEight(const float* window, __m256 p0, __m256 p1,
                                                                              __m256 p2) {
    const __m256i magnitude = _mm256_set1_epi32(INT32_MAX);
    constexpr int centre = TruePeakDetector::tapsPerPhase / 2 - 1;
    __m256i peak = _mm256_and_si256(_mm256_castps_si256(_mm256_loadu_ps(window + centre)), magnitude);
    for (__m256 point : {p0, p1, p2})
        peak = _mm256_max_epi32(peak, _mm256_and_si256(_mm256_castps_si256(point), magnitude));
    return peak;
}

// Keeps a group's peaks: each frame's in `peaks`, or the largest in `largest`.
template <bool EachFrame>
[[gnu::target("avx2,fma"), gnu::always_inline]] inline void keepEight(__m256i peak, int64_t i, int64_t frames,
                                                                      float* peaks, __m256i& largest) {
    if constexpr (!EachFrame) {
        if (frames - i < laneCount) // the lanes past the last frame count for nothing
            peak = _mm256_and_si256(peak, _mm256_cmpgt_epi32(_mm256_set1_epi32(static_cast<int32_t>(frames - i)),
                                                             _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7)));
        largest = _mm256_max_epi32(largest, peak);
    } else if (frames - i >= laneCount) {
        auto* kept = reinterpret_cast<__m256i*>(peaks + i);
        _mm256_storeu_si256(kept, _mm256_max_epi32(_mm256_loadu_si256(kept), peak));
    } else {
        float out[laneCount];
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), peak);
        for (int64_t k = 0; k < frames - i; ++k)
            peaks[i + k] = std::max(peaks[i + k], out[k]);
    }
}

// `groups` (1 to 3) groups of eight frames at once, their sums overlapping
// in the pipeline.
template <int groups, bool EachFrame>
[[gnu::target("avx2,fma"), gnu::always_inline]] inline void
groupsOfEight(const float* window, int64_t i, int64_t frames, const std::array<Phase, 3>& taps, float* peaks,
              __m256i& largest) {
    __m256 a0 = _mm256_setzero_ps(), a1 = a0, a2 = a0, b0 = a0, b1 = a0, b2 = a0, c0 = a0, c1 = a0, c2 = a0;
#pragma GCC unroll 24
    for (size_t j = 0; j < TruePeakDetector::tapsPerPhase; ++j) {
        const __m256 t0 = _mm256_broadcast_ss(&taps[0][j]), t1 = _mm256_broadcast_ss(&taps[1][j]),
                     t2 = _mm256_broadcast_ss(&taps[2][j]);
        const __m256 x = _mm256_loadu_ps(window + j);
        a0 = _mm256_fmadd_ps(t0, x, a0);
        a1 = _mm256_fmadd_ps(t1, x, a1);
        a2 = _mm256_fmadd_ps(t2, x, a2);
        if constexpr (groups > 1) {
            const __m256 y = _mm256_loadu_ps(window + laneCount + j);
            b0 = _mm256_fmadd_ps(t0, y, b0);
            b1 = _mm256_fmadd_ps(t1, y, b1);
            b2 = _mm256_fmadd_ps(t2, y, b2);
        }
        if constexpr (groups > 2) {
            const __m256 z = _mm256_loadu_ps(window + 2 * laneCount + j);
            c0 = _mm256_fmadd_ps(t0, z, c0);
            c1 = _mm256_fmadd_ps(t1, z, c1);
            c2 = _mm256_fmadd_ps(t2, z, c2);
        }
    }
    keepEight<EachFrame>(largestOfEight(window, a0, a1, a2), i, frames, peaks, largest);
    if constexpr (groups > 1)
        keepEight<EachFrame>(largestOfEight(window + laneCount, b0, b1, b2), i + laneCount, frames, peaks, largest);
    if constexpr (groups > 2)
        keepEight<EachFrame>(largestOfEight(window + 2 * laneCount, c0, c1, c2), i + 2 * laneCount, frames, peaks,
                             largest);
}

// The same, eight frames at a time, where the processor has AVX2 and fused
// multiply-adds. A fused sum rounds once per tap, so its last bit may differ
// from the four-lane kernel's.
template <bool EachFrame>
[[gnu::target("avx2,fma")]] int32_t peaksEight(const float* line, int64_t frames, const std::array<Phase, 3>& taps,
                                               float* peaks) {
    __m256i largest = _mm256_setzero_si256();
    int64_t i = 0;
    for (; frames - i > 2 * laneCount; i += 3 * laneCount)
        groupsOfEight<3, EachFrame>(line + i, i, frames, taps, peaks, largest);
    if (frames - i > laneCount)
        groupsOfEight<2, EachFrame>(line + i, i, frames, taps, peaks, largest);
    else if (frames > i)
        groupsOfEight<1, EachFrame>(line + i, i, frames, taps, peaks, largest);
    const __m128i half = _mm_max_epi32(_mm256_castsi256_si128(largest), _mm256_extracti128_si256(largest, 1));
    const __m128i quarter = _mm_max_epi32(half, _mm_shuffle_epi32(half, _MM_SHUFFLE(1, 0, 3, 2)));
    return _mm_cvtsi128_si32(_mm_max_epi32(quarter, _mm_shuffle_epi32(quarter, _MM_SHUFFLE(2, 3, 0, 1))));
}
bool hasEight() { return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"); }
#else
template <bool EachFrame>
int32_t peaksEight(const float* line, int64_t frames, const std::array<Phase, 3>& taps, float* peaks) {
    return peaksFour<EachFrame>(line, frames, taps, peaks);
}
bool hasEight() { return false; }
#endif

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
    const std::array<Phase, 3>& taps = phases();
    static const bool eight = hasEight();
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
                (eight ? peaksEight<true> : peaksFour<true>)(taken, n, taps, peaks + start);
            else
                loudest = std::max(loudest, (eight ? peaksEight<false> : peaksFour<false>)(taken, n, taps, nullptr));
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
