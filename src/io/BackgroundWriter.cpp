#include "io/BackgroundWriter.h"

#include <algorithm>

namespace {
constexpr size_t blockCount = 6;
constexpr int64_t blockFrames = 8192;
// A full queue lets its caller go on once this many blocks wait or fewer:
// one wake-up per few blocks rather than one per block.
constexpr size_t resumeAt = blockCount / 2;
} // namespace

BackgroundWriter::BackgroundWriter(std::unique_ptr<AudioFileWriter> inner, int channels)
    : inner_(std::move(inner)), channels_(std::max(channels, 1)), blocks_(blockCount) {
    for (Block& block : blocks_)
        block.samples.resize(static_cast<size_t>(blockFrames * channels_));
    thread_ = std::thread([this] { run(); });
}

BackgroundWriter::~BackgroundWriter() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    work_.notify_all();
    if (thread_.joinable())
        thread_.join();
}

void BackgroundWriter::rethrowFailure() {
    if (failure_)
        throw Failure(*failure_);
}

void BackgroundWriter::write(const float* interleaved, int64_t frames) {
    while (frames > 0) {
        std::unique_lock lock(mutex_);
        if (waiting_ == blocks_.size()) {
            callerWaits_ = true;
            space_.wait(lock, [this] { return waiting_ <= resumeAt || failure_; });
            callerWaits_ = false;
        }
        rethrowFailure();
        Block& block = blocks_[(first_ + waiting_) % blocks_.size()];
        lock.unlock();
        // Only this thread fills a free block; the writer's thread reads it once it waits.
        block.frames = std::min(frames, blockFrames);
        std::copy(interleaved, interleaved + block.frames * channels_, block.samples.begin());
        interleaved += block.frames * channels_;
        frames -= block.frames;
        lock.lock();
        ++waiting_;
        const bool wake = writerWaits_;
        lock.unlock();
        if (wake)
            work_.notify_one();
    }
}

void BackgroundWriter::close() {
    {
        const std::lock_guard lock(mutex_);
        closing_ = true;
    }
    work_.notify_all();
    if (thread_.joinable())
        thread_.join();
    rethrowFailure();
}

void BackgroundWriter::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        writerWaits_ = true;
        work_.wait(lock, [this] { return waiting_ > 0 || closing_ || stopping_; });
        writerWaits_ = false;
        if (stopping_)
            return;
        const bool last = waiting_ == 0; // closing, and everything is written
        const Block& block = blocks_[first_];
        lock.unlock();
        try {
            if (last)
                inner_->close();
            else
                inner_->write(block.samples.data(), block.frames);
        } catch (...) {
            lock.lock();
            failure_ = errorOf(std::current_exception(), QStringLiteral("Cannot write the file"));
            space_.notify_all();
            return;
        }
        if (last)
            return;
        lock.lock();
        first_ = (first_ + 1) % blocks_.size();
        --waiting_;
        if (callerWaits_ && waiting_ <= resumeAt)
            space_.notify_one();
    }
}
