#include "export/TruePeakLimiter.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int64_t block = 1024;
constexpr double lookAheadSeconds = 0.005;
constexpr double releaseSeconds = 0.08;

} // namespace

// Gains are held in three windows. The gain a peak at frame m asks for must
// cover every frame of [m − span, m + span], so that the interpolated points
// around it scale as the peak does. The running minimum over
// window = lookAhead + 2·span frames, averaged over lookAhead + 1 frames and
// read delay = lookAhead + span frames later, is at or below every gain asked
// for within span frames of the frame it is applied to, and moves in
// straight ramps.
TruePeakLimiter::TruePeakLimiter(int channels, int64_t sampleRate, double ceilingDBTP)
    : channels_(std::max(channels, 1)), ceiling_(static_cast<float>(std::pow(10.0, ceilingDBTP / 20.0))),
      lookAhead_(std::max<int64_t>(static_cast<int64_t>(lookAheadSeconds * static_cast<double>(sampleRate)), 1)),
      span_(TruePeakDetector::latency), delay_(lookAhead_ + span_),
      release_(static_cast<float>(std::exp(-1.0 / (releaseSeconds * static_cast<double>(sampleRate))))),
      detector_(channels_), peaks_(block), window_(lookAhead_ + 2 * span_ + 1), queue_(static_cast<size_t>(window_)),
      minima_(static_cast<size_t>(lookAhead_ + 1), 1.0f), minimaSum_(static_cast<double>(lookAhead_ + 1)),
      audio_(static_cast<size_t>(latency() * channels_), 0.0f), zeros_(static_cast<size_t>(block * channels_), 0.0f) {}

void TruePeakLimiter::process(const float* in, int64_t frames, float* out) {
    for (int64_t done = 0; done < frames; done += block) {
        const int64_t n = std::min(block, frames - done);
        processBlock(in + done * channels_, n, out + done * channels_);
    }
}

void TruePeakLimiter::flush(float* out) {
    for (int64_t done = 0; done < latency(); done += block) {
        const int64_t n = std::min(block, latency() - done);
        processBlock(zeros_.data(), n, out + done * channels_);
    }
}

// Whether the next `frames` peaks ask for nothing while the gain is at rest:
// the queue then holds only gains of 1, every averaged minimum is 1 (their
// sum is exact), and the gain stays at exactly 1.
bool TruePeakLimiter::passesThrough(int64_t frames) const {
    return gain_ == 1.0f && queue_[static_cast<size_t>(queueHead_)].gain == 1.0f &&
           minimaSum_ == static_cast<double>(minima_.size()) &&
           std::all_of(peaks_.begin(), peaks_.begin() + frames, [this](float peak) { return peak <= ceiling_; });
}

double TruePeakLimiter::largestReductionDB() const { return -20.0 * std::log10(static_cast<double>(lowest_)); }

void TruePeakLimiter::processBlock(const float* in, int64_t frames, float* out) {
    detector_.process(in, frames, peaks_.data(), ceiling_); // gains are asked only over it
    const auto lines = static_cast<int64_t>(audio_.size()) / channels_;
    const auto averaged = static_cast<int64_t>(minima_.size());
    // Steps a ring index on, wrapping at `size`.
    const auto next = [](int64_t at, int64_t size) { return at + 1 == size ? 0 : at + 1; };
    if (passesThrough(frames)) {
        // Nothing asked for, nothing still to release: every gain is 1, and
        // the frames come out only delayed, as the loop below would give them.
        queue_[0] = {position_ + frames - 1, 1.0f};
        queueHead_ = 0;
        queueSize_ = 1;
        minimaAt_ = (minimaAt_ + frames) % averaged;
        position_ += frames;
        // A run of lines up to the ring's end at a time: each line first
        // gives its frame out, then takes the new one.
        for (int64_t i = 0; i < frames;) {
            const int64_t n = std::min(frames - i, lines - audioAt_);
            float* line = audio_.data() + audioAt_ * channels_;
            std::copy(line, line + n * channels_, out + i * channels_);
            std::copy(in + i * channels_, in + (i + n) * channels_, line);
            audioAt_ = (audioAt_ + n) % lines;
            i += n;
        }
        return;
    }
    for (int64_t i = 0; i < frames; ++i, ++position_) {
        // The gain this frame's peak asks for (the frame `latency` before the newest).
        const float peak = peaks_[static_cast<size_t>(i)];
        const float asked = peak > ceiling_ ? ceiling_ / peak : 1.0f;
        // The running minimum of the last `window_` asked-for gains: the
        // head leaves once it is that old, before the newest joins, so the
        // ring never holds more than `window_`.
        if (queueSize_ > 0 && queue_[static_cast<size_t>(queueHead_)].position <= position_ - window_) {
            queueHead_ = next(queueHead_, window_);
            --queueSize_;
        }
        while (queueSize_ > 0) {
            int64_t back = queueHead_ + queueSize_ - 1;
            back -= back >= window_ ? window_ : 0;
            if (queue_[static_cast<size_t>(back)].gain > asked)
                --queueSize_;
            else
                break;
        }
        int64_t tail = queueHead_ + queueSize_;
        tail -= tail >= window_ ? window_ : 0;
        queue_[static_cast<size_t>(tail)] = {position_, asked};
        ++queueSize_;
        const float minimum = queue_[static_cast<size_t>(queueHead_)].gain;
        // Averaged over the look-ahead: a straight ramp down to each minimum.
        minimaSum_ += static_cast<double>(minimum) - static_cast<double>(minima_[static_cast<size_t>(minimaAt_)]);
        minima_[static_cast<size_t>(minimaAt_)] = minimum;
        minimaAt_ = next(minimaAt_, averaged);
        const auto ramp = std::min(static_cast<float>(minimaSum_ / static_cast<double>(averaged)), 1.0f);
        // Down at once along the ramp; up again smoothly.
        gain_ = ramp < gain_ ? ramp : ramp + (gain_ - ramp) * release_;
        lowest_ = std::min(lowest_, gain_);
        float* line = audio_.data() + audioAt_ * channels_;
        audioAt_ = next(audioAt_, lines);
        for (int c = 0; c < channels_; ++c) {
            out[i * channels_ + c] = line[c] * gain_;
            line[c] = in[i * channels_ + c];
        }
    }
}
