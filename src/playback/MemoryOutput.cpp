#include "playback/MemoryOutput.h"

#include <algorithm>
#include <utility>

MemoryOutput::MemoryOutput(std::set<int64_t> acceptedRates, int64_t fallbackRate)
    : accepted_(std::move(acceptedRates)), fallback_(fallbackRate) {}

std::optional<int64_t> MemoryOutput::open(int64_t sampleRate, AudioCallback* callback) {
    std::lock_guard lock(mutex_);
    callback_ = callback;
    rate_ = accepted_.empty() || accepted_.count(sampleRate) ? sampleRate : fallback_;
    ++opens_;
    return rate_;
}

void MemoryOutput::close() {
    std::lock_guard lock(mutex_);
    callback_ = nullptr;
    rate_.reset();
}

std::optional<int64_t> MemoryOutput::openRate() const {
    std::lock_guard lock(mutex_);
    return rate_;
}

bool MemoryOutput::pull(int64_t frames, int64_t blockFrames) {
    std::lock_guard lock(mutex_);
    if (!callback_)
        return false;
    block_.resize(static_cast<size_t>(blockFrames * channels));
    if (frames == 0)
        callback_->render(block_.data(), 0); // a call without frames, as some outputs make
    recorded_.reserve(recorded_.size() + static_cast<size_t>(frames * channels));
    while (frames > 0) {
        const int64_t n = std::min(frames, blockFrames);
        callback_->render(block_.data(), n);
        recorded_.insert(recorded_.end(), block_.begin(), block_.begin() + n * channels);
        frames -= n;
    }
    return true;
}

std::vector<float> MemoryOutput::take() {
    std::lock_guard lock(mutex_);
    return std::exchange(recorded_, {});
}
