#include "jobs/JobRunner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

namespace {

// Waits (up to five seconds) until `done` holds.
template <typename Done> bool eventually(Done done) {
    for (int i = 0; i < 5000 && !done(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return done();
}

} // namespace

TEST(JobRunnerTest, JobsRunSideBySideOnceEachInOrderBoundedToTheThreadsAndEndOnce) {
    // Two threads: the first two jobs end only once both run; never more than two do.
    JobRunner runner(2);
    std::mutex mutex;
    std::vector<int64_t> ran;
    std::atomic<int> running{0}, most{0}, doneCalls{0};
    const JobRunner::Batch batch = runner.start(
        6,
        [&](int64_t i, std::stop_token) {
            const int now = ++running;
            most = std::max(most.load(), now);
            if (i < 2)
                eventually([&] { return most == 2; });
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            --running;
            const std::lock_guard lock(mutex);
            ran.push_back(i);
        },
        [&](bool stopped) {
            EXPECT_FALSE(stopped);
            EXPECT_EQ(running, 0) << "done comes after every job";
            ++doneCalls;
        });
    batch.wait();
    EXPECT_TRUE(batch.finished());
    EXPECT_EQ(doneCalls, 1);
    EXPECT_EQ(most, 2);
    std::sort(ran.begin(), ran.end());
    EXPECT_EQ(ran, (std::vector<int64_t>{0, 1, 2, 3, 4, 5}));

    // On one thread, jobs and batches run in the order started.
    JobRunner one(1);
    ran.clear();
    const auto record = [&](int64_t base) {
        return [&, base](int64_t i, std::stop_token) { ran.push_back(base + i); };
    };
    const JobRunner::Batch first = one.start(3, record(0));
    one.start(2, record(10)).wait();
    EXPECT_TRUE(first.finished());
    EXPECT_EQ(ran, (std::vector<int64_t>{0, 1, 2, 10, 11}));
    // No jobs: done at once, on the caller's thread.
    std::thread::id doneOn;
    EXPECT_TRUE(one.start(0, {}, [&](bool) { doneOn = std::this_thread::get_id(); }).finished());
    EXPECT_EQ(doneOn, std::this_thread::get_id());
}

TEST(JobRunnerTest, AStoppedBatchStartsNoFurtherJobAndTheRunningOneSeesItsToken) {
    JobRunner runner(1);
    std::atomic<int> started{0};
    std::atomic<bool> sawStop{false}, stoppedAtEnd{false};
    const auto untilStopped = [&](int64_t, std::stop_token stop) {
        ++started;
        sawStop = eventually([&] { return stop.stop_requested(); });
    };
    const JobRunner::Batch batch = runner.start(5, untilStopped, [&](bool stopped) { stoppedAtEnd = stopped; });
    ASSERT_TRUE(eventually([&] { return started == 1; }));
    EXPECT_FALSE(batch.waitFor(std::chrono::milliseconds(20)));
    EXPECT_FALSE(batch.stopRequested());
    batch.requestStop();
    EXPECT_TRUE(batch.stopRequested());
    EXPECT_TRUE(batch.waitFor(std::chrono::seconds(5)));
    EXPECT_TRUE(sawStop && stoppedAtEnd);
    EXPECT_EQ(started, 1);

    // A batch stopped before it starts ends at once; the runner's end stops what still runs.
    std::atomic<int> queuedRan{0};
    {
        JobRunner closing(1);
        closing.start(1, untilStopped);
        const JobRunner::Batch queued = closing.start(3, [&](int64_t, std::stop_token) { ++queuedRan; });
        queued.requestStop();
        EXPECT_TRUE(queued.finished());
        ASSERT_TRUE(eventually([&] { return started == 2; }));
        sawStop = false;
    }
    EXPECT_TRUE(sawStop);
    EXPECT_EQ(queuedRan, 0);
}
