// The audio callback must not allocate. Every operator new of this test
// program counts the calls made while the calling thread is marked as
// running the callback.

#include "PlaybackFixtures.h"

#include <atomic>
#include <cstdlib>
#include <new>
#include <thread>

namespace {

thread_local bool inCallback = false;
std::atomic<int> callbackAllocations{0};

// Runs the engine's callback on its own thread, marked, into a buffer made beforehand.
class MarkedOutput : public AudioOutput {
public:
    std::optional<int64_t> open(int64_t sampleRate, AudioCallback* callback) override {
        callback_ = callback;
        rate_ = sampleRate;
        return rate_;
    }
    void close() override { callback_ = nullptr; }
    std::optional<int64_t> openRate() const override { return rate_; }
    void pullOnAudioThread(int64_t blocks) {
        std::thread audio([&] {
            std::vector<float> buffer(512 * 2);
            for (int64_t b = 0; b < blocks; ++b) {
                inCallback = true;
                callback_->render(buffer.data(), 512);
                inCallback = false;
                std::this_thread::yield();
            }
        });
        audio.join();
    }

private:
    AudioCallback* callback_ = nullptr;
    std::optional<int64_t> rate_;
};

} // namespace

// Every plain form is replaced together, so that each delete meets its own new.
namespace {
void* counted(std::size_t size) noexcept {
    if (inCallback)
        callbackAllocations.fetch_add(1);
    return std::malloc(size ? size : 1);
}
} // namespace

void* operator new(std::size_t size) {
    if (void* p = counted(size))
        return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    if (void* p = counted(size))
        return p;
    throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return counted(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return counted(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

TEST(CallbackAllocationTest, TheAudioCallbackNeverAllocates) {
    QTemporaryDir dir;
    const QString path = writeStereo(dir, "a.wav", 3.0);
    auto output = std::make_unique<MarkedOutput>();
    MarkedOutput* audio = output.get();
    AudioPlaybackEngine engine(std::move(output));
    SegmentEditState edits;
    edits.addSeparator(1.0 + 2.0);
    edits.setSegmentGain(1, 3.0);

    // Both modes, with envelope swaps, seeks and the end of the file while it pulls.
    for (const SegmentEditState* given : std::vector<const SegmentEditState*>{nullptr, &edits}) {
        engine.play(path, 0.0, 2.0, given);
        fixtures::waitUntil([&] { return EngineProbe::bufferedFrames(engine) >= 8192; }, 1000);
        audio->pullOnAudioThread(50);
        engine.updateGainEnvelope(edits, -1.0);
        engine.seek(2.5);
        audio->pullOnAudioThread(400);
        engine.pause();
        audio->pullOnAudioThread(10);
    }
    // The marking itself works: an allocation on a marked thread is counted.
    EXPECT_EQ(callbackAllocations.load(), 0);
    inCallback = true;
    std::vector<float>* volatile probe = new std::vector<float>(16);
    inCallback = false;
    delete probe;
    EXPECT_EQ(callbackAllocations.load(), 2);
}
