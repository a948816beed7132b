#include "analysis/ReadAhead.h"

#include "analysis/AnalysisErrors.h"
#include "analysis/SignalMeasurement.h"

#include <array>
#include <condition_variable>
#include <exception>
#include <limits>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

namespace AudioLoader {

namespace {

// Thrown on the decoding thread to unwind when the consumer gave up.
struct Abandoned {};

// The chunks between the two threads: filled in turn by the decoder and
// emptied in the same order by the consumer.
class ChunkQueue {
public:
    static constexpr size_t depth = 4;

    ChunkQueue(int64_t chunkFrames, int channels) {
        try {
            for (auto& slot : slots_) {
                slot.samples.resize(static_cast<size_t>(chunkFrames * channels));
                slot.mono.resize(static_cast<size_t>(chunkFrames));
            }
        } catch (const std::bad_alloc&) {
            throw AnalysisErrors::noBuffer();
        }
    }

    struct Slot {
        std::vector<float> samples;
        std::vector<float> mono;
        int64_t frames = 0;
    };

    // Decoder side: the next free chunk, or none when the consumer gave up.
    Slot* beginFill() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return stopped_ || filled_ - taken_ < depth; });
        return stopped_ ? nullptr : &slots_[filled_ % depth];
    }
    void endFill(int64_t frames) {
        {
            std::lock_guard lock(mutex_);
            slots_[filled_ % depth].frames = frames;
            ++filled_;
        }
        changed_.notify_all();
    }
    // The end of the stream, or the error that ended it.
    void finish(std::optional<Error> error = std::nullopt) {
        {
            std::lock_guard lock(mutex_);
            finished_ = true;
            error_ = std::move(error);
        }
        changed_.notify_all();
    }

    // Consumer side: hands the next chunk to `consume`; false at the end.
    template <typename F> bool consumeNext(F&& consume) {
        Slot* slot = nullptr;
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [&] { return finished_ || filled_ > taken_; });
            if (filled_ == taken_) {
                if (error_)
                    throw Failure(*error_);
                return false;
            }
            slot = &slots_[taken_ % depth];
        }
        consume(slot->samples.data(), slot->mono.data(), slot->frames);
        {
            std::lock_guard lock(mutex_);
            ++taken_;
        }
        changed_.notify_all();
        return true;
    }
    void stop() {
        {
            std::lock_guard lock(mutex_);
            stopped_ = true;
        }
        changed_.notify_all();
    }

private:
    std::array<Slot, depth> slots_;
    std::mutex mutex_;
    std::condition_variable changed_;
    size_t filled_ = 0;
    size_t taken_ = 0;
    bool finished_ = false;
    bool stopped_ = false;
    std::optional<Error> error_;
};

} // namespace

int64_t readAhead(OpenedAudio& opened, int64_t chunkFrames, const MixedChunkConsumer& consume) {
    chunkFrames = std::max<int64_t>(chunkFrames, 1);
    const int channels = opened.reader.channels();
    ChunkQueue queue(chunkFrames, channels);
    std::thread decoder([&] {
        try {
            // Each chunk is decoded straight into a free slot and down-mixed
            // beside it, waiting here while the consumer is behind.
            for (;;) {
                ChunkQueue::Slot* slot = queue.beginFill();
                if (!slot)
                    throw Abandoned{};
                const int64_t frames = readChunk(opened, slot->samples.data(), chunkFrames);
                if (frames == 0)
                    break;
                downmixInterleaved(slot->samples.data(), frames, channels, slot->mono.data());
                queue.endFill(frames);
            }
            queue.finish();
        } catch (const Abandoned&) {
            queue.finish();
        } catch (...) {
            queue.finish(errorOf(std::current_exception(), QStringLiteral("Cannot read the file")));
        }
    });
    int64_t total = 0;
    try {
        while (queue.consumeNext([&](const float* interleaved, const float* mono, int64_t frames) {
            consume(interleaved, mono, frames);
            total += frames;
        })) {
        }
    } catch (...) {
        queue.stop();
        decoder.join();
        throw;
    }
    decoder.join();
    return total;
}

} // namespace AudioLoader
