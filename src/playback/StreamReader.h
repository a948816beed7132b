#pragma once

// The engine's reader thread: reads the open file from a start frame, as
// stereo (a mono file on both channels, only the first two of more), converts
// it to the output's rate when that differs, and fills the chunk ring ahead
// of the audio thread. Commands come from the main thread and take effect at
// once; the chunks they produce carry the command's epoch.

#include "io/AudioReader.h"
#include "playback/ChunkRing.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

class StreamReader {
public:
    explicit StreamReader(ChunkRing& ring);
    ~StreamReader();
    StreamReader(const StreamReader&) = delete;
    StreamReader& operator=(const StreamReader&) = delete;

    // Reads `file` from source frame `startFrame` for `epoch`, converted to `outputRate`.
    void start(std::shared_ptr<AudioReader> file, uint64_t epoch, int64_t startFrame, int64_t outputRate);
    // Stops reading and lets the file go.
    void stop();
    // The epoch whose last chunk is in the ring: nothing more will be read for it.
    uint64_t readToEndEpoch() const { return readToEndEpoch_.load(); }
    // The output frame after the last one queued for `epoch`, or none when the
    // ring holds nothing of that epoch yet.
    std::optional<int64_t> queuedEnd(uint64_t epoch) const {
        if (queuedEpoch_.load(std::memory_order_acquire) != epoch)
            return std::nullopt;
        return queuedEnd_.load(std::memory_order_relaxed);
    }

private:
    struct Command {
        std::shared_ptr<AudioReader> file; // set for start
        bool stop = false;
        uint64_t epoch = 0;
        int64_t startFrame = 0;
        int64_t outputRate = 0;
    };
    struct Stream;

    void post(Command command);
    void run();

    ChunkRing& ring_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::optional<Command> pending_;
    bool quit_ = false;
    std::atomic<uint64_t> readToEndEpoch_{0};
    std::atomic<int64_t> queuedEnd_{0}; // written before queuedEpoch_
    std::atomic<uint64_t> queuedEpoch_{0};
    std::thread thread_;
};
