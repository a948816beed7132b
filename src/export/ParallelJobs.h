#pragma once

// Runs a list of jobs on several threads at once, one job per thread at a
// time, and stops starting new ones at the first failure.

#include <cstdint>
#include <exception>
#include <functional>

namespace ParallelJobs {

// Runs job(0) … job(count − 1) on up to `threads` threads, the calling one
// among them, starting them in rising order. After each job that succeeds,
// `finished(k)` is called with the number of jobs done so far, one call at a
// time and with k rising. Once a job throws, no further job starts, the
// running ones finish, and the first exception is returned; null when all
// succeeded.
std::exception_ptr run(int64_t count, int threads, const std::function<void(int64_t index)>& job,
                       const std::function<void(int64_t finished)>& finished);

} // namespace ParallelJobs
