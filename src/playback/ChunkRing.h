#pragma once

// A single-producer, single-consumer ring of fixed-size chunks of stereo
// frames, allocated once. The reader thread fills chunks; the audio thread
// reads them. Each chunk carries the epoch it was read for (a seek or a new
// file starts a new epoch, and the audio thread drops chunks of older ones)
// and the index of its first frame.

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

class ChunkRing {
public:
    static constexpr int64_t chunkFrames = 1024;
    static constexpr size_t slotCount = 32; // about 0.7 s at 48 kHz

    struct Chunk {
        uint64_t epoch = 0;
        int64_t firstFrame = 0; // in the output's frame domain
        int64_t frames = 0;
        bool last = false; // the file ends with this chunk
        std::array<float, chunkFrames * 2> samples{};
    };

    ChunkRing() : slots_(std::make_unique<Chunk[]>(slotCount)) {}

    // Producer: a free chunk to fill, or null when the ring is full.
    Chunk* beginWrite() {
        const size_t w = write_.load(std::memory_order_relaxed);
        if (w - read_.load(std::memory_order_acquire) >= slotCount)
            return nullptr;
        return &slots_[w % slotCount];
    }
    void commitWrite() { write_.fetch_add(1, std::memory_order_release); }

    // Consumer: the oldest filled chunk, or null when empty.
    Chunk* front() {
        const size_t r = read_.load(std::memory_order_relaxed);
        if (r == write_.load(std::memory_order_acquire))
            return nullptr;
        return &slots_[r % slotCount];
    }
    void pop() { read_.fetch_add(1, std::memory_order_release); }

private:
    std::unique_ptr<Chunk[]> slots_;
    std::atomic<size_t> write_{0};
    std::atomic<size_t> read_{0};
};
