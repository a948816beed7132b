#include "export/ParallelJobs.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

// Waits (up to five seconds) until `done` holds.
template <typename Done> bool waitFor(Done done) {
    for (int i = 0; i < 5000 && !done(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return done();
}

} // namespace

TEST(ParallelJobsTest, JobsRunSideBySideOnceEachAndStopStartingAfterAFailure) {
    // Two threads: the first two jobs only end once both are running.
    std::array<std::atomic<int>, 6> ran{};
    std::atomic<int> running{0};
    std::vector<int64_t> counts;
    std::exception_ptr error = ParallelJobs::run(
        6, 2,
        [&](int64_t i) {
            ++ran[static_cast<size_t>(i)];
            if (i >= 2)
                return;
            ++running;
            if (!waitFor([&] { return running == 2; }))
                throw std::runtime_error("ran one at a time");
        },
        [&](int64_t k) { counts.push_back(k); });
    EXPECT_FALSE(error);
    for (const auto& n : ran)
        EXPECT_EQ(n, 1);
    EXPECT_EQ(counts, (std::vector<int64_t>{1, 2, 3, 4, 5, 6}));

    // Job 1 fails while job 0 runs: job 0 finishes and counts, the error is
    // job 1's, and the later jobs never start.
    for (auto& n : ran)
        n = 0;
    counts.clear();
    std::atomic<bool> failed{false};
    error = ParallelJobs::run(
        6, 2,
        [&](int64_t i) {
            ++ran[static_cast<size_t>(i)];
            if (i == 1) {
                failed = true;
                throw std::runtime_error("job 1");
            }
            if (i == 0) {
                waitFor([&] { return failed.load(); });
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
            }
        },
        [&](int64_t k) { counts.push_back(k); });
    ASSERT_TRUE(error);
    try {
        std::rethrow_exception(error);
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "job 1");
    }
    EXPECT_EQ(ran[0], 1);
    EXPECT_EQ(counts, (std::vector<int64_t>{1}));
    EXPECT_EQ(ran[2] + ran[3] + ran[4] + ran[5], 0);

    // One thread is the caller's own, in order; nothing at all for no jobs.
    std::vector<int64_t> order;
    EXPECT_TRUE(ParallelJobs::run(
                    3, 1, [&](int64_t i) { order.push_back(i); }, [](int64_t) {}) == nullptr);
    EXPECT_EQ(order, (std::vector<int64_t>{0, 1, 2}));
    EXPECT_TRUE(ParallelJobs::run(
                    0, 4, [](int64_t) { throw std::runtime_error("no"); }, [](int64_t) {}) == nullptr);
}
