#pragma once

// A writer that runs another on a thread of its own, so that an encoder
// works while the caller makes the next frames: the caller's frames are
// copied into a few blocks kept from the start and handed over in order.
// A full queue makes `write` wait. What the other writer throws comes back
// from the next `write` or from `close`.

#include "io/AudioFileWriter.h"
#include "io/Error.h"

#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

class BackgroundWriter final : public AudioFileWriter {
public:
    BackgroundWriter(std::unique_ptr<AudioFileWriter> inner, int channels);
    // Without `close`, what still waits is dropped and the thread ends.
    ~BackgroundWriter() override;
    void write(const float* interleaved, int64_t frames) override;
    void close() override;

private:
    struct Block {
        std::vector<float> samples;
        int64_t frames = 0;
    };
    void run();
    void rethrowFailure();

    std::unique_ptr<AudioFileWriter> inner_;
    int channels_;
    std::vector<Block> blocks_; // a ring: `waiting_` blocks from `first_`
    size_t first_ = 0;
    size_t waiting_ = 0;
    bool closing_ = false;
    bool stopping_ = false;
    std::optional<Error> failure_;
    // Who waits for whom, so that a wake-up is sent only when one is awaited.
    bool callerWaits_ = false;
    bool writerWaits_ = false;
    std::mutex mutex_;
    std::condition_variable space_; // the caller waits on it for a free block
    std::condition_variable work_;  // the writer's thread waits on it for a block
    std::thread thread_;
};
