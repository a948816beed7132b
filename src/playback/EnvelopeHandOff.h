#pragma once

// Hands a gain envelope from the main thread to the audio thread. The main
// thread publishes with one atomic exchange; the audio thread brackets each
// callback with enter() and leave() and reads the envelope in between,
// without a lock, an allocation or a wait. An envelope that is replaced
// while a callback runs is freed only after that callback has returned
// (the callback counter has moved on): by the next publish, clear or
// reclaim on the main thread.
//
// Main thread: publish, clear, reclaim, the destructor. Audio thread:
// enter, current, leave.

#include <atomic>
#include <cstdint>
#include <utility>
#include <vector>

class EnvelopeHandOff {
public:
    using Gains = std::vector<float>;

    EnvelopeHandOff() = default;
    EnvelopeHandOff(const EnvelopeHandOff&) = delete;
    EnvelopeHandOff& operator=(const EnvelopeHandOff&) = delete;
    // No callback may run any more.
    ~EnvelopeHandOff() {
        delete current_.load();
        for (auto& [gains, sequence] : retired_)
            delete gains;
    }

    // Replaces the envelope; an empty one counts as none.
    void publish(Gains gains) { replace(gains.empty() ? nullptr : new Gains(std::move(gains))); }
    void clear() { replace(nullptr); }
    // Frees the replaced envelopes no callback can still be reading.
    void reclaim() {
        const uint64_t now = sequence_.load();
        std::erase_if(retired_, [now](const std::pair<const Gains*, uint64_t>& r) {
            if (r.second == now)
                return false;
            delete r.first;
            return true;
        });
    }

    void enter() noexcept { sequence_.fetch_add(1); }
    // The envelope until leave(); null when there is none.
    const Gains* current() const noexcept { return current_.load(); }
    void leave() noexcept { sequence_.fetch_add(1); }

private:
    void replace(const Gains* next) {
        const Gains* old = current_.exchange(next);
        // Read after the exchange: a callback that starts later sees `next`.
        const uint64_t sequence = sequence_.load();
        if (old) {
            if (sequence % 2 == 0)
                delete old; // no callback is running
            else
                retired_.emplace_back(old, sequence);
        }
        reclaim();
    }

    std::atomic<const Gains*> current_{nullptr};
    std::atomic<uint64_t> sequence_{0}; // odd while a callback runs
    std::vector<std::pair<const Gains*, uint64_t>> retired_;
};
