#pragma once

// News from worker threads for a session object that lives on one thread.
// It is kept in arrival order until the owner takes it: in its event loop,
// where the first news since the last take of everything posts a call to
// the owner, or, without one, after waiting for news with a time limit.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <iterator>
#include <limits>
#include <mutex>
#include <utility>
#include <vector>

template <typename News> class Inbox {
public:
    // From any thread: keeps `news`; for the first since the last take,
    // calls `wake` (which posts the owner's call) before the lock is let go.
    template <typename Wake> void put(News news, Wake&& wake) {
        {
            const std::lock_guard lock(mutex_);
            news_.push_back(std::move(news));
            if (!std::exchange(woken_, true))
                wake();
        }
        arrived_.notify_all();
    }
    // Waits up to `timeout` for news, or until `nothingComes()` holds.
    template <typename Predicate> void waitFor(std::chrono::milliseconds timeout, Predicate nothingComes) {
        std::unique_lock lock(mutex_);
        arrived_.wait_for(lock, timeout, [&] { return !news_.empty() || nothingComes(); });
    }
    // Everything that came, in order.
    std::vector<News> take() {
        bool left = false;
        return take(std::numeric_limits<size_t>::max(), left);
    }
    // At most `most` of what came, in order; `left` says whether more is
    // waiting, which the owner then takes without being called again.
    std::vector<News> take(size_t most, bool& left) {
        const std::lock_guard lock(mutex_);
        left = news_.size() > most;
        if (!left) {
            woken_ = false;
            return std::exchange(news_, {});
        }
        std::vector<News> some(std::make_move_iterator(news_.begin()),
                               std::make_move_iterator(news_.begin() + static_cast<std::ptrdiff_t>(most)));
        news_.erase(news_.begin(), news_.begin() + static_cast<std::ptrdiff_t>(most));
        return some;
    }

private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<News> news_;
    bool woken_ = false;
};
