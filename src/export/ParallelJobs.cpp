#include "export/ParallelJobs.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace ParallelJobs {

std::exception_ptr run(int64_t count, int threads, const std::function<void(int64_t index)>& job,
                       const std::function<void(int64_t finished)>& finished) {
    std::atomic<int64_t> next{0};
    std::atomic<bool> failed{false};
    std::mutex mutex; // guards `done` and `error`, and keeps `finished` calls in order
    int64_t done = 0;
    std::exception_ptr error;

    const auto work = [&] {
        while (!failed.load()) {
            const int64_t index = next.fetch_add(1);
            if (index >= count)
                return;
            try {
                job(index);
            } catch (...) {
                const std::lock_guard lock(mutex);
                if (!error)
                    error = std::current_exception();
                failed.store(true);
                return;
            }
            const std::lock_guard lock(mutex);
            finished(++done);
        }
    };

    const auto helpers = static_cast<size_t>(std::clamp<int64_t>(std::min<int64_t>(threads, count) - 1, 0, 256));
    std::vector<std::thread> pool;
    pool.reserve(helpers);
    try {
        for (size_t i = 0; i < helpers; ++i)
            pool.emplace_back(work);
    } catch (const std::system_error&) {
        // Fewer threads than asked for: the ones there are do all the jobs.
    }
    work();
    for (std::thread& t : pool)
        t.join();
    return error;
}

} // namespace ParallelJobs
