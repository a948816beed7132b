#include "analysis/SignalMeasurement.h"

#include "analysis/AnalysisErrors.h"
#include "analysis/LoudnessAnalyzer.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace {

// Folds the smallest and largest of `count` samples into `lo` and `hi`, in
// independent vector lanes held in registers: the same values as one running
// std::min/std::max (the two zeros aside, which compare equal).
void foldMinMax(const float* samples, int64_t count, float& lo, float& hi) {
    using Lanes = float __attribute__((vector_size(16)));
    constexpr int64_t width = 4, step = 2 * width;
    const auto load = [&](int64_t at) {
        Lanes x;
        std::memcpy(&x, samples + at, sizeof x);
        return x;
    };
    int64_t k = 0;
    if (count >= step) {
        Lanes l0 = load(0), l1 = load(width), h0 = l0, h1 = l1;
        for (k = step; k + step <= count; k += step) {
            const Lanes x = load(k), y = load(k + width);
            l0 = x < l0 ? x : l0;
            h0 = h0 < x ? x : h0;
            l1 = y < l1 ? y : l1;
            h1 = h1 < y ? y : h1;
        }
        for (int j = 0; j < width; ++j) {
            lo = std::min({lo, l0[j], l1[j]});
            hi = std::max({hi, h0[j], h1[j]});
        }
    }
    for (; k < count; ++k) {
        lo = std::min(lo, samples[k]);
        hi = std::max(hi, samples[k]);
    }
}

} // namespace

EnvelopeBuilder::EnvelopeBuilder(int64_t minTotal, int64_t maxTotal, int64_t requestedBuckets)
    : minTotal_(std::max<int64_t>(minTotal, 1)), maxTotal_(maxTotal), requested_(requestedBuckets) {
    if (maxTotal_ < minTotal_ || requested_ <= 0) {
        return;
    }
    // S grows with n, so the range's lengths give every S between those of its ends.
    const auto spacing = [&](int64_t n) { return std::max<int64_t>(n / bucketsFor(n), 1); };
    for (int64_t s = spacing(minTotal_); s <= spacing(maxTotal_); ++s) {
        Buckets b;
        b.samplesPerBucket = s;
        const int64_t buckets = std::min(bucketsFor(maxTotal_), requested_);
        b.covered = buckets * s;
        b.minValues.resize(static_cast<size_t>(buckets));
        b.maxValues.resize(static_cast<size_t>(buckets));
        candidates_.push_back(std::move(b));
    }
}

int64_t EnvelopeBuilder::bucketsFor(int64_t total) const { return std::min(total, requested_); }

void EnvelopeBuilder::add(Buckets& b, int64_t position, const float* samples, int64_t count) {
    int64_t i = 0;
    while (i < count && position < b.covered) {
        const int64_t bucket = position / b.samplesPerBucket;
        const int64_t offset = position - bucket * b.samplesPerBucket;
        const int64_t span = std::min(b.samplesPerBucket - offset, count - i);
        float lo = offset == 0 ? samples[i] : b.minValues[bucket];
        float hi = offset == 0 ? samples[i] : b.maxValues[bucket];
        foldMinMax(samples + i, span, lo, hi);
        b.minValues[bucket] = lo;
        b.maxValues[bucket] = hi;
        i += span;
        position += span;
    }
}

void EnvelopeBuilder::add(const float* samples, int64_t count) {
    for (Buckets& b : candidates_) {
        add(b, position_, samples, count);
    }
    position_ += count;
}

bool EnvelopeBuilder::holds(int64_t total) const {
    return total >= minTotal_ && total <= maxTotal_ && position_ >= total;
}

WaveformEnvelope EnvelopeBuilder::take(int64_t total) {
    WaveformEnvelope envelope;
    if (candidates_.empty() || total <= 0) {
        return envelope;
    }
    const int64_t buckets = bucketsFor(total);
    const int64_t spacing = std::max<int64_t>(total / buckets, 1);
    Buckets& b = candidates_[static_cast<size_t>(spacing - candidates_.front().samplesPerBucket)];
    b.minValues.resize(static_cast<size_t>(buckets));
    b.maxValues.resize(static_cast<size_t>(buckets));
    envelope.bucketCount = buckets;
    envelope.minValues = std::move(b.minValues);
    envelope.maxValues = std::move(b.maxValues);
    candidates_.clear();
    return envelope;
}

SignalMeasurement::SignalMeasurement(int64_t expectedSamples, int64_t sampleRate, int64_t stride, int64_t uncertainty,
                                     ChannelWeighting weighting)
    : expected_(std::max<int64_t>(expectedSamples, 0) + std::max<int64_t>(uncertainty, 0)), sampleRate_(sampleRate),
      channels_(std::max(weighting.channels(), 1)), mix_(weighting.mix),
      envelope_(expectedSamples - std::max<int64_t>(uncertainty, 0), expected_, LoudnessAnalyzer::envelopeBuckets),
      channelEnergy_(sampleRate, std::move(weighting)), truePeak_(channels_),
      energy_(stride > 0 ? stride : EnergyPrefix::strideFor(sampleRate), expected_) {}

void SignalMeasurement::add(const float* interleaved, const float* mono, int64_t count) {
    count = std::min(count, expected_ - measured_);
    if (count <= 0) {
        return;
    }
    peak_ = std::max(peak_, largestMagnitude(interleaved, count * channels_));
    envelope_.add(mono, count);
    truePeak_.add(interleaved, count);
    energy_.add(count, [&](int64_t offset, int64_t n, double sum) {
        return channelEnergy_.accumulate(interleaved + offset * channels_, mono + offset, n, sum);
    });
    measured_ += count;
}

AnalysisResult SignalMeasurement::finish() {
    using namespace LoudnessAnalyzer;
    if (measured_ == 0) {
        throw AnalysisErrors::noSamples();
    }
    AnalysisResult r;
    r.sampleRate = sampleRate_;
    r.channels = channels_;
    r.channelMix = mix_;
    r.duration = static_cast<double>(measured_) / static_cast<double>(sampleRate_);
    r.peakDBFS = peak_ > 0.0f ? static_cast<double>(20.0f * std::log10(peak_)) : silencePeakDBFS;
    r.truePeakDBTP = truePeak_.finishDBTP();
    r.envelope = envelope_.take(measured_);
    const EnergyPrefix energy = energy_.take();

    LoudnessCurve curve = loudnessCurve(energy, sampleRate_, measured_);
    r.times = std::move(curve.times);
    r.loudnessCurve = std::move(curve.values);

    const LoudestWindow w = loudestFigure(energy, sampleRate_, measured_);
    r.windowStart = w.start;
    r.windowEnd = w.end;
    r.loudest20sLUFS = w.loudest20sLUFS;
    r.figures = meterFigures(energy, sampleRate_, measured_);
    r.gatingBlocks = gatingHistogram(energy, sampleRate_, measured_);
    return r;
}

float largestMagnitude(const float* samples, int64_t count) {
    if (count <= 0)
        return 0.0f;
    float lo = samples[0], hi = samples[0];
    foldMinMax(samples, count, lo, hi);
    return std::max(std::fabs(lo), std::fabs(hi));
}

void downmixInterleaved(const float* interleaved, int64_t frames, int channels, float* mono) {
    if (channels == 1) {
        std::copy(interleaved, interleaved + frames, mono);
        return;
    }
    const float scale = static_cast<float>(1.0 / channels);
    int64_t f = 0;
#if defined(__x86_64__)
    if (channels == 2) {
        // The common case, four frames at a time: the same sums and products.
        const __m128 scales = _mm_set1_ps(scale);
        for (; f + 4 <= frames; f += 4) {
            const __m128 a = _mm_loadu_ps(interleaved + 2 * f), b = _mm_loadu_ps(interleaved + 2 * f + 4);
            const __m128 left = _mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0));
            const __m128 right = _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1));
            _mm_storeu_ps(mono + f, _mm_mul_ps(_mm_add_ps(left, right), scales));
        }
    }
#endif
    for (; f < frames; ++f) {
        const float* frame = interleaved + f * channels;
        float sum = frame[0];
        for (int c = 1; c < channels; ++c) {
            sum = sum + frame[c];
        }
        mono[f] = sum * scale;
    }
}
