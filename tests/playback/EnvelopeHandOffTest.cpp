#include "playback/EnvelopeHandOff.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

// An envelope replaced while a callback reads it stays whole until the
// callback leaves; under AddressSanitizer a read of a freed one fails.
TEST(EnvelopeHandOffTest, AReplacedEnvelopeOutlivesTheCallbackReadingIt) {
    EnvelopeHandOff handOff;
    EXPECT_EQ(handOff.current(), nullptr);
    handOff.publish({0.5f, 0.5f});
    handOff.enter();
    const EnvelopeHandOff::Gains* seen = handOff.current();
    ASSERT_NE(seen, nullptr);
    handOff.publish({2.0f});
    handOff.reclaim();
    EXPECT_EQ((*seen)[1], 0.5f) << "still readable inside the callback";
    EXPECT_EQ((*handOff.current())[0], 2.0f) << "the next read sees the new one";
    handOff.leave();
    handOff.reclaim();
    handOff.publish({});
    EXPECT_EQ(handOff.current(), nullptr) << "an empty envelope is none";
}

// The audio thread reads whole envelopes, each of one value, while the main
// thread keeps replacing them.
TEST(EnvelopeHandOffTest, ReadsRaceWithReplacements) {
    EnvelopeHandOff handOff;
    handOff.publish(EnvelopeHandOff::Gains(256, 0.0f));
    std::atomic<bool> done{false};
    std::atomic<int64_t> torn{0}, reads{0};
    std::thread audio([&] {
        while (!done.load()) {
            handOff.enter();
            if (const auto* gains = handOff.current()) {
                for (float g : *gains)
                    torn += g != gains->front();
                ++reads;
            }
            handOff.leave();
        }
    });
    for (int i = 1; i <= 3000 || reads.load() < 1000; ++i) {
        handOff.publish(EnvelopeHandOff::Gains(256, static_cast<float>(i)));
        if (i % 7 == 0)
            handOff.clear();
        handOff.reclaim();
    }
    done = true;
    audio.join();
    EXPECT_EQ(torn.load(), 0);
}
