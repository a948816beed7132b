#include "jobs/JobRunner.h"

#include <gtest/gtest.h>

#include <array>
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

TEST(JobRunnerTest, JobsRunSideBySideOnceEachBoundedToTheThreadsAndEndOnce) {
    JobRunner runner(2);
    // The first two jobs only end once both are running; never more than two run.
    std::array<std::atomic<int>, 6> ran{};
    std::atomic<int> running{0}, most{0}, doneCalls{0};
    std::atomic<bool> together{true};
    const JobRunner::Batch batch = runner.start(
        6,
        [&](int64_t i, std::stop_token) {
            ++ran[static_cast<size_t>(i)];
            const int now = ++running;
            most = std::max(most.load(), now);
            if (i < 2 && !eventually([&] { return most == 2; }))
                together = false;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            --running;
        },
        [&](bool stopped) {
            EXPECT_FALSE(stopped);
            EXPECT_EQ(running, 0) << "done comes after every job";
            ++doneCalls;
        });
    batch.wait();
    EXPECT_TRUE(batch.finished());
    EXPECT_EQ(doneCalls, 1);
    EXPECT_TRUE(together);
    EXPECT_EQ(most, 2);
    for (const auto& n : ran)
        EXPECT_EQ(n, 1);

    // On one thread, jobs and batches run in the order started.
    JobRunner one(1);
    std::mutex mutex;
    std::vector<int64_t> order;
    const auto record = [&](int64_t base) {
        return [&, base](int64_t i, std::stop_token) {
            const std::lock_guard lock(mutex);
            order.push_back(base + i);
        };
    };
    const JobRunner::Batch first = one.start(3, record(0));
    one.start(2, record(10)).wait();
    EXPECT_TRUE(first.finished());
    EXPECT_EQ(order, (std::vector<int64_t>{0, 1, 2, 10, 11}));

    // No jobs: done at once, on the caller's thread.
    std::thread::id doneOn;
    EXPECT_TRUE(one.start(0, {}, [&](bool) { doneOn = std::this_thread::get_id(); }).finished());
    EXPECT_EQ(doneOn, std::this_thread::get_id());
}

TEST(JobRunnerTest, AStoppedBatchStartsNoFurtherJobAndTheRunningOneSeesItsToken) {
    JobRunner runner(1);
    std::atomic<int> started{0};
    std::atomic<bool> sawStop{false}, stoppedAtEnd{false};
    const JobRunner::Batch batch = runner.start(
        5,
        [&](int64_t, std::stop_token stop) {
            ++started;
            sawStop = eventually([&] { return stop.stop_requested(); });
        },
        [&](bool stopped) { stoppedAtEnd = stopped; });
    ASSERT_TRUE(eventually([&] { return started == 1; }));
    EXPECT_FALSE(batch.waitFor(std::chrono::milliseconds(20)));
    batch.requestStop();
    EXPECT_TRUE(batch.waitFor(std::chrono::seconds(5)));
    EXPECT_TRUE(sawStop);
    EXPECT_TRUE(stoppedAtEnd);
    EXPECT_EQ(started, 1);

    // A batch stopped before it starts ends at once, on the stopping thread.
    std::atomic<bool> release{false};
    runner.start(1, [&](int64_t, std::stop_token) { eventually([&] { return release.load(); }); });
    int ran = 0;
    const JobRunner::Batch queued = runner.start(3, [&](int64_t, std::stop_token) { ++ran; });
    queued.requestStop();
    EXPECT_TRUE(queued.finished());
    release = true;

    // The runner's end stops what still runs, and waits for it.
    std::atomic<bool> ended{false};
    {
        JobRunner closing(1);
        closing.start(
            1, [&](int64_t, std::stop_token stop) { ended = eventually([&] { return stop.stop_requested(); }); });
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_TRUE(ended);
    EXPECT_EQ(ran, 0);
}
