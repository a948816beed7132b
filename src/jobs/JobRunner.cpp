#include "jobs/JobRunner.h"

#include <algorithm>

struct JobRunner::Batch::State {
    Job job;
    Done done;
    int64_t count = 0;
    std::stop_source stop;
    std::mutex mutex; // guards what follows
    std::condition_variable ended;
    int64_t next = 0;    // the next index to start
    int64_t running = 0; // jobs started and not yet returned
    bool closed = false; // no further job starts
    bool finishing = false;
    bool finished = false;
};

void JobRunner::Batch::requestStop() const {
    if (!state_)
        return;
    state_->stop.request_stop();
    std::unique_lock lock(state_->mutex);
    state_->closed = true;
    finishIfIdle(state_, lock);
}

bool JobRunner::Batch::stopRequestedOf(const State& state) { return state.stop.stop_requested(); }

void JobRunner::Batch::wait() const {
    if (!state_)
        return;
    std::unique_lock lock(state_->mutex);
    state_->ended.wait(lock, [&] { return state_->finished; });
}

bool JobRunner::Batch::waitFor(std::chrono::milliseconds timeout) const {
    if (!state_)
        return true;
    std::unique_lock lock(state_->mutex);
    return state_->ended.wait_for(lock, timeout, [&] { return state_->finished; });
}

bool JobRunner::Batch::finished() const {
    if (!state_)
        return true;
    const std::lock_guard lock(state_->mutex);
    return state_->finished;
}

void JobRunner::finishIfIdle(const std::shared_ptr<Batch::State>& state, std::unique_lock<std::mutex>& lock) {
    if (!state->closed || state->running > 0 || state->finishing)
        return;
    state->finishing = true;
    // `done` runs before waiters are woken, so that a wait() sees its effects.
    Done done = std::move(state->done);
    lock.unlock();
    if (done)
        done(state->stop.stop_requested());
    lock.lock();
    state->finished = true;
    state->ended.notify_all();
}

JobRunner::JobRunner(int threads) {
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    const auto count = static_cast<size_t>(threads > 0 ? threads : static_cast<int>(cores));
    workers_.reserve(count);
    for (size_t i = 0; i < count; ++i)
        workers_.emplace_back([this] { work(); });
}

JobRunner::~JobRunner() {
    std::vector<std::shared_ptr<Batch::State>> live;
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        for (const std::weak_ptr<Batch::State>& weak : started_)
            if (std::shared_ptr<Batch::State> state = weak.lock())
                live.push_back(std::move(state));
    }
    for (const std::shared_ptr<Batch::State>& state : live)
        Batch(state).requestStop();
    wake_.notify_all();
    workers_.clear(); // joins
}

JobRunner& JobRunner::shared() {
    static JobRunner runner;
    return runner;
}

JobRunner::Batch JobRunner::start(int64_t count, Job job, Done done) {
    auto state = std::make_shared<Batch::State>();
    state->job = std::move(job);
    state->done = std::move(done);
    state->count = std::max<int64_t>(count, 0);
    if (state->count == 0) {
        std::unique_lock lock(state->mutex);
        state->closed = true;
        finishIfIdle(state, lock);
        return Batch(state);
    }
    {
        const std::lock_guard lock(mutex_);
        started_.remove_if([](const std::weak_ptr<Batch::State>& weak) { return weak.expired(); });
        started_.push_back(state);
        queue_.push_back(state);
    }
    wake_.notify_all();
    return Batch(state);
}

void JobRunner::work() {
    for (;;) {
        std::shared_ptr<Batch::State> state;
        int64_t index = 0;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [&] { return stopping_ || !queue_.empty(); });
            if (queue_.empty())
                return; // stopping, and nothing is left to start
            state = queue_.front();
            const std::lock_guard claim(state->mutex);
            if (state->closed || stopping_) {
                queue_.pop_front();
                continue;
            }
            index = state->next++;
            ++state->running;
            if (state->next >= state->count) {
                state->closed = true;
                queue_.pop_front();
            }
        }
        state->job(index, state->stop.get_token());
        std::unique_lock lock(state->mutex);
        --state->running;
        finishIfIdle(state, lock);
    }
}
