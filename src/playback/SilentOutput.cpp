#include "playback/SilentOutput.h"

#include <chrono>

std::optional<int64_t> SilentOutput::open(int64_t sampleRate, AudioCallback* callback) {
    close();
    rate_ = sampleRate;
    running_.store(true);
    thread_ = std::thread([this, sampleRate, callback] {
        const int64_t frames = std::max<int64_t>(1, sampleRate / 100);
        std::vector<float> buffer(static_cast<size_t>(frames * channels));
        auto next = std::chrono::steady_clock::now();
        while (running_.load()) {
            callback->render(buffer.data(), frames);
            next += std::chrono::milliseconds(10);
            std::this_thread::sleep_until(next);
        }
    });
    return rate_;
}

void SilentOutput::close() {
    running_.store(false);
    if (thread_.joinable())
        thread_.join();
    rate_.reset();
}

std::optional<int64_t> SilentOutput::openRate() const { return rate_; }
