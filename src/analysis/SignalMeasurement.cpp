#include "analysis/SignalMeasurement.h"

#include "analysis/AnalysisErrors.h"
#include "analysis/LoudnessAnalyzer.h"

#include <algorithm>
#include <cmath>
#include <new>

EnvelopeBuilder::EnvelopeBuilder(int64_t totalSamples, int64_t requestedBuckets) {
    if (totalSamples <= 0 || requestedBuckets <= 0) {
        return;
    }
    const int64_t buckets = std::min(totalSamples, requestedBuckets);
    samplesPerBucket_ = std::max<int64_t>(totalSamples / buckets, 1);
    covered_ = buckets * samplesPerBucket_;
    envelope_.bucketCount = buckets;
    envelope_.minValues.resize(static_cast<size_t>(buckets));
    envelope_.maxValues.resize(static_cast<size_t>(buckets));
}

void EnvelopeBuilder::add(const float* samples, int64_t count) {
    int64_t i = 0;
    while (i < count && position_ < covered_) {
        const int64_t bucket = position_ / samplesPerBucket_;
        const int64_t offset = position_ - bucket * samplesPerBucket_;
        const int64_t span = std::min(samplesPerBucket_ - offset, count - i);
        float lo = offset == 0 ? samples[i] : envelope_.minValues[bucket];
        float hi = offset == 0 ? samples[i] : envelope_.maxValues[bucket];
        for (int64_t k = i; k < i + span; ++k) {
            lo = std::min(lo, samples[k]);
            hi = std::max(hi, samples[k]);
        }
        envelope_.minValues[bucket] = lo;
        envelope_.maxValues[bucket] = hi;
        i += span;
        position_ += span;
    }
    position_ += count - i;
}

WaveformEnvelope EnvelopeBuilder::take() {
    return std::move(envelope_);
}

SignalMeasurement::SignalMeasurement(int64_t expectedSamples, int64_t sampleRate, int64_t stride)
    : expected_(std::max<int64_t>(expectedSamples, 0)), sampleRate_(sampleRate),
      envelope_(expected_, LoudnessAnalyzer::envelopeBuckets), filter_(sampleRate),
      energy_(stride > 0 ? stride : EnergyPrefix::strideFor(sampleRate), expected_) {}

void SignalMeasurement::add(const float* mono, int64_t count) {
    count = std::min(count, expected_ - measured_);
    if (count <= 0) {
        return;
    }
    float peak = peak_;
    for (int64_t i = 0; i < count; ++i) {
        peak = std::max(peak, std::fabs(mono[i]));
    }
    peak_ = peak;
    envelope_.add(mono, count);

    if (scratch_.size() < static_cast<size_t>(count)) {
        scratch_.resize(static_cast<size_t>(count));
    }
    float* weighted = scratch_.data();
    filter_.process(mono, weighted, count);
    for (int64_t i = 0; i < count; ++i) {
        weighted[i] = weighted[i] * weighted[i]; // squared in 32-bit float
    }
    energy_.add(weighted, count);
    measured_ += count;
}

AnalysisResult SignalMeasurement::finish() {
    using namespace LoudnessAnalyzer;
    if (measured_ == 0) {
        throw AnalysisError(AnalysisError::Kind::emptyFile);
    }
    AnalysisResult r;
    r.sampleRate = sampleRate_;
    r.totalSamples = measured_;
    r.duration = static_cast<double>(measured_) / static_cast<double>(sampleRate_);
    r.peakDBFS = peak_ > 0.0f ? static_cast<double>(20.0f * std::log10(peak_)) : silencePeakDBFS;
    r.envelope = envelope_.take();
    r.energy = energy_.take();
    scratch_ = {};

    LoudnessCurve curve = computeLoudnessCurve(r.energy, sampleRate_, measured_, defaultCurveWindowSec);
    r.times = std::move(curve.times);
    r.loudnessCurve = std::move(curve.values);
    r.curveWindowSec = defaultCurveWindowSec;

    if (r.duration < 20.0) {
        r.peakLUFS = gatedLoudness(r.energy, 0, measured_, sampleRate_);
        r.windowStart = 0.0;
        r.windowEnd = r.duration;
    } else {
        const LoudestWindow w = findLoudest20s(r.energy, sampleRate_, measured_);
        r.windowStart = w.start;
        r.windowEnd = w.end;
        r.peakLUFS = w.peakLUFS;
    }
    return r;
}

void downmixInterleaved(const float* interleaved, int64_t frames, int channels, float* mono) {
    if (channels == 1) {
        std::copy(interleaved, interleaved + frames, mono);
        return;
    }
    const float scale = static_cast<float>(1.0 / channels);
    for (int64_t f = 0; f < frames; ++f) {
        const float* frame = interleaved + f * channels;
        float sum = frame[0];
        for (int c = 1; c < channels; ++c) {
            sum = sum + frame[c];
        }
        mono[f] = sum * scale;
    }
}
