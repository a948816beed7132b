#pragma once

// Runs the program's background work, for the window and the command line
// alike: batches of numbered jobs on a fixed set of worker threads, as many
// as the cores by default. A batch's jobs start in rising order, and
// batches in the order they were started. Every job of a batch gets the
// batch's stop token: a stopped batch starts no further job, and its running
// jobs see the request and end early.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <stop_token>
#include <thread>
#include <vector>

class JobRunner {
public:
    using Job = std::function<void(int64_t index, std::stop_token stop)>;
    // Called once, after the last job of the batch ended or was left out;
    // `stopped` says whether the batch was stopped.
    using Done = std::function<void(bool stopped)>;

    // What the starter keeps of a batch; copies share it.
    class Batch {
    public:
        Batch() = default;
        // No further job starts; the running ones see their token stopped.
        void requestStop() const;
        bool stopRequested() const { return state_ && stopRequestedOf(*state_); }
        // Blocks until the batch has finished (its `done` included).
        void wait() const;
        // The same for at most `timeout`; whether it has finished.
        bool waitFor(std::chrono::milliseconds timeout) const;
        bool finished() const;

    private:
        friend class JobRunner;
        struct State;
        explicit Batch(std::shared_ptr<State> state) : state_(std::move(state)) {}
        static bool stopRequestedOf(const State& state);
        std::shared_ptr<State> state_;
    };

    // `threads` 0: the cores available to the process.
    explicit JobRunner(int threads = 0);
    // Stops every batch and waits for the running jobs.
    ~JobRunner();
    JobRunner(const JobRunner&) = delete;
    JobRunner& operator=(const JobRunner&) = delete;

    // Queues `count` jobs. A job reports its failures itself: one that
    // throws ends the program. `done` runs on the thread that ends the batch:
    // the worker that ran its last job, the one that stopped it while none
    // was running, or this one at once when `count` is 0; it must not wait
    // for its own batch.
    Batch start(int64_t count, Job job, Done done = {});

    // The program's one runner.
    static JobRunner& shared();

private:
    void work();
    // Ends `state` when it takes no further job and none is running.
    static void finishIfIdle(const std::shared_ptr<Batch::State>& state, std::unique_lock<std::mutex>& lock);

    std::mutex mutex_; // guards the queue and `stopping_`
    std::condition_variable wake_;
    std::list<std::shared_ptr<Batch::State>> queue_; // batches with jobs left to start
    std::list<std::weak_ptr<Batch::State>> started_; // every batch not yet finished, for the destructor
    bool stopping_ = false;
    std::vector<std::jthread> workers_;
};
