#include "PlaybackFixtures.h"

#include "editing/SegmentGainEvaluation.h"

namespace {

// Checks out[i] == source[i] × gain(frame) for every sample after the ramp
// that follows the transition before each pull.
template <typename Gain>
void expectScaled(const std::vector<float>& out, const std::vector<float>& source, int64_t firstFrame, Gain gain) {
    ASSERT_GE(out.size(), source.size());
    for (size_t i = 2 * rampFrames48k; i < source.size(); ++i) {
        const int64_t frame = firstFrame + static_cast<int64_t>(i / 2);
        ASSERT_EQ(out[i], source[i] * gain(frame)) << "sample " << i << " (frame " << frame << ")";
    }
}

} // namespace

TEST(PlaybackEngineTest, PlayerModeAppliesTheCorrectionCappedAtFour) {
    QTemporaryDir dir;
    const QString path = writeStereo(dir, "a.wav", 2.0);
    EngineUnderTest t;
    t.engine.play(path, 0.0, 20.0, nullptr);
    EXPECT_TRUE(t.engine.isPlaying());
    EXPECT_FALSE(t.engine.followsEnvelope());
    EXPECT_EQ(t.engine.volume(), 4.0f);
    expectScaled(t.pull(6000), sourceFrames(path, 0, 6000), 0, [](int64_t) { return 4.0f; });

    t.engine.play(path, 1.0, -6.0, nullptr);
    const float minus6 = static_cast<float>(std::pow(10.0, -6.0 / 20.0));
    EXPECT_EQ(t.engine.volume(), minus6);
    EXPECT_EQ(t.engine.currentTime(), 1.0);
    expectScaled(t.pull(3000), sourceFrames(path, 48000, 3000), 48000, [&](int64_t) { return minus6; });

    // Start times are clamped: past the end starts 10 ms before it, negative at 0.
    t.engine.play(path, 99.0, 0.0, nullptr);
    EXPECT_DOUBLE_EQ(t.engine.currentTime(), 1.99);
    t.engine.play(path, -4.0, 0.0, nullptr);
    EXPECT_EQ(t.engine.currentTime(), 0.0);
    // A file that cannot be opened changes nothing.
    t.engine.play(dir.filePath("missing.wav"), 0.0, 0.0, nullptr);
    EXPECT_TRUE(t.engine.isPlaying());
    EXPECT_EQ(t.engine.currentFilePath(), path);

    // Samples that are not numbers are heard as silence, the others as they are.
    std::vector<float> odd = fixtures::sine(440.0, 0.5, 48000, 4800);
    odd[3000] = std::numeric_limits<float>::quiet_NaN();
    odd[3001] = -std::numeric_limits<float>::infinity();
    fixtures::writeMonoWav(dir.filePath("odd.wav"), odd, 48000);
    t.engine.play(dir.filePath("odd.wav"), 0.0, 0.0, nullptr);
    const std::vector<float> heard = t.pull(4800);
    for (const size_t frame : {2999, 3000, 3001, 3002})
        EXPECT_EQ(heard[2 * frame + 1], std::isfinite(odd[frame]) ? odd[frame] : 0.0f) << frame;
}

TEST(PlaybackEngineTest, EditedFileIsTheSourceTimesItsEnvelopeBlockByBlock) {
    QTemporaryDir dir;
    const QString path = writeStereo(dir, "a.wav", 12.0);
    SegmentEditState edits;
    edits.addSeparator(4.0);
    edits.addSeparator(8.0);
    edits.setSegmentGain(1, 6.0);
    edits.setSegmentGain(2, -9.0);
    edits.setFadeDuration(edits.separators()[0].id, 2000.0);
    EngineUnderTest t;
    t.engine.play(path, 2.5, 15.0, &edits); // above the player's cap: no cap here
    EXPECT_TRUE(t.engine.followsEnvelope());
    EXPECT_EQ(t.engine.volume(), 1.0f);
    const int64_t first = 120000;
    std::vector<float> env = edits.computeGainEnvelope(15.0, 48000, 12 * 48000, 512);
    expectScaled(t.pull(4 * 48000), sourceFrames(path, first, 4 * 48000), first,
                 [&](int64_t f) { return env[static_cast<size_t>(f / 512)]; });

    // A new correction during playback: the envelope is rebuilt, the volume stays at 1.0.
    t.engine.updateGainEnvelope(edits, -3.0);
    EXPECT_EQ(t.engine.volume(), 1.0f);
    env = edits.computeGainEnvelope(-3.0, 48000, 12 * 48000, 512);
    const int64_t next = t.engine.sourceReadPosition();
    expectScaled(t.pull(48000), sourceFrames(path, next, 48000), next,
                 [&](int64_t f) { return env[static_cast<size_t>(f / 512)]; });

    // Edits that appear while a plain playback runs are heard at once (after
    // the glide), and when they vanish the volume takes the correction back.
    SegmentEditState live;
    t.engine.play(path, 0.0, -6.0, nullptr);
    t.pull(4800);
    live.setSegmentGain(0, 6.0);
    t.engine.updateGainEnvelope(live, -6.0);
    EXPECT_TRUE(t.engine.followsEnvelope());
    t.pull(rampFrames48k);
    const int64_t from = t.engine.sourceReadPosition();
    expectScaled(t.pull(4800), sourceFrames(path, from, 4800), from, [](int64_t) { return 1.0f; });
    live.resetAll();
    t.engine.updateGainEnvelope(live, -6.0);
    EXPECT_FALSE(t.engine.followsEnvelope());
    EXPECT_EQ(t.engine.volume(), static_cast<float>(std::pow(10.0, -6.0 / 20.0)));
}

TEST(PlaybackEngineTest, SeekPauseAndResumeContinueWhereTheyShouldInBothModes) {
    QTemporaryDir dir;
    const QString path = writeStereo(dir, "long.wav", 34.0);
    SegmentEditState edits;
    for (bool withEdits : {false, true}) {
        if (withEdits)
            edits.setSegmentGain(0, 2.0);
        const SegmentEditState* given = withEdits ? &edits : nullptr;
        const float gain = withEdits ? static_cast<float>(std::pow(10.0, 3.0 / 20.0)) : 1.0f;
        EngineUnderTest t;
        t.engine.play(path, 0.0, withEdits ? 1.0 : 0.0, given);
        t.pull(4096);
        t.engine.pause();
        EXPECT_TRUE(t.engine.isPaused());
        EXPECT_FALSE(t.engine.isPlaying());
        const std::vector<float> paused = t.pull(1024);
        EXPECT_EQ(std::vector<float>(paused.begin() + 2 * rampFrames48k, paused.end()),
                  std::vector<float>(2048 - 2 * rampFrames48k, 0.0f))
            << "paused: silence after the fade";
        t.engine.seek(30.0);
        EXPECT_EQ(t.engine.currentTime(), 30.0);
        t.engine.resume(given, withEdits ? 1.0 : 0.0);
        EXPECT_EQ(t.engine.followsEnvelope(), withEdits);
        expectScaled(t.pull(2048), sourceFrames(path, 30 * 48000, 2048), 30 * 48000, [&](int64_t) { return gain; });
        // Seeking while playing goes on from there at once.
        t.engine.seek(10.0);
        EXPECT_EQ(t.engine.currentTime(), 10.0);
        expectScaled(t.pull(2048), sourceFrames(path, 10 * 48000, 2048), 10 * 48000, [&](int64_t) { return gain; });
    }
}

TEST(PlaybackEngineTest, ResumeChoosesTheModeAfreshWhenEditsAppearOrVanish) {
    QTemporaryDir dir;
    const QString path = writeStereo(dir, "a.wav", 8.0);
    SegmentEditState edits;
    EngineUnderTest t;
    t.engine.play(path, 0.0, 0.0, nullptr);
    t.engine.pause();
    edits.setSegmentGain(0, -6.0);
    t.engine.seek(2.0);
    t.engine.resume(&edits, 0.0);
    EXPECT_TRUE(t.engine.followsEnvelope());
    EXPECT_TRUE(t.engine.isPlaying());
    const float minus6 = static_cast<float>(std::pow(10.0, -6.0 / 20.0));
    expectScaled(t.pull(1024), sourceFrames(path, 96000, 1024), 96000, [&](int64_t) { return minus6; });

    t.engine.pause();
    edits.resetAll();
    t.engine.resume(nullptr, -6.0);
    EXPECT_FALSE(t.engine.followsEnvelope());
    EXPECT_EQ(t.engine.volume(), minus6);
}

TEST(PlaybackEngineTest, EndOfFileResetsTheStateAndStaleEndsChangeNothing) {
    QTemporaryDir dir;
    const QString shortFile = writeStereo(dir, "short.wav", 0.5);
    const QString other = writeStereo(dir, "other.wav", 5.0);
    SegmentEditState edits;
    edits.setSegmentGain(0, 1.0);
    for (const SegmentEditState* given : std::vector<const SegmentEditState*>{nullptr, &edits}) {
        EngineUnderTest t;
        t.engine.play(shortFile, 0.0, 0.0, given);
        t.pull(30000); // past the end
        ASSERT_TRUE(fixtures::waitUntil([&] { return !t.engine.isPlaying(); }, 2000));
        EXPECT_FALSE(t.engine.isPaused());
        EXPECT_EQ(t.engine.currentTime(), 0.0);
        const std::vector<float> after = t.pull(2048);
        EXPECT_TRUE(std::all_of(after.begin(), after.end(), [](float x) { return x == 0.0f; }));

        // The end of an earlier play, noticed only after a new play, is ignored.
        t.engine.play(shortFile, 0.0, 0.0, given);
        t.pull(30000);
        t.engine.play(other, 0.0, 0.0, given);
        QCoreApplication::processEvents();
        fixtures::waitUntil([] { return false; }, 100); // the clock ticks a few times
        EXPECT_TRUE(t.engine.isPlaying());
        EXPECT_EQ(t.engine.currentFilePath(), other);
    }
}

TEST(PlaybackEngineTest, OtherRatesAreConvertedAndMonoIsHeardOnBothChannels) {
    QTemporaryDir dir;
    const QString path = dir.filePath("mono.wav");
    fixtures::writeMonoWav(path, fixtures::sine(997.0, 0.5, 44100, 44100), 44100);
    EngineUnderTest t({48000});
    t.engine.play(path, 0.0, 0.0, nullptr);
    EXPECT_EQ(t.output->openRate(), 48000);
    const std::vector<float> out = t.pull(60000);
    double energy = 0;
    int64_t sounding = 0;
    for (size_t i = 0; i + 1 < out.size(); i += 2) {
        ASSERT_EQ(out[i], out[i + 1]) << "mono on both channels";
        energy += out[i] * out[i];
        sounding += std::abs(out[i]) > 1e-4 ? 1 : 0;
    }
    EXPECT_NEAR(static_cast<double>(sounding), 48000.0, 600.0) << "one second at 48 kHz";
    EXPECT_NEAR(energy / static_cast<double>(sounding), 0.125, 0.005) << "a 0.5 sine keeps its power";
}

TEST(PlaybackEngineTest, AacPlaysAtOnceWithBothChannels) {
    QTemporaryDir dir;
    const QString wav = writeStereo(dir, "a.wav", 3.0);
    const QString m4a = dir.filePath("a.m4a");
    ASSERT_TRUE(fixtures::runFFmpeg({"-y", "-v", "error", "-i", wav, "-c:a", "aac", m4a}));
    EngineUnderTest t;
    t.engine.play(m4a, 1.0, 0.0, nullptr);
    ASSERT_TRUE(t.engine.isPlaying()) << "streams like any other format";
    EXPECT_EQ(t.engine.currentFilePath(), m4a);
    EXPECT_NEAR(EngineProbe::fileDuration(t.engine), 3.0, 0.1);
    const std::vector<float> heard = t.pull(4800);
    double left = 0, right = 0;
    for (size_t i = 0; i + 1 < heard.size(); i += 2) {
        left += heard[i] * heard[i];
        right += heard[i + 1] * heard[i + 1];
    }
    EXPECT_GT(left, 100.0) << "the sine, on the left";
    EXPECT_GT(right, 10.0) << "the noise, on the right: both channels kept";
}

// Every transition ramps over 5 ms instead of stepping: the left channel is a
// 440 Hz sine of 0.5, whose samples never differ by more than 0.029.
TEST(PlaybackEngineTest, TransitionsRampInsteadOfStepping) {
    QTemporaryDir dir;
    const QString path = writeStereo(dir, "a.wav", 20.0);
    EngineUnderTest t;
    const auto largestStep = [](float before, const std::vector<float>& heard) {
        float largest = std::abs(heard[0] - before);
        for (size_t i = 2; i < heard.size(); i += 2)
            largest = std::max(largest, std::abs(heard[i] - heard[i - 2]));
        return largest;
    };
    t.engine.play(path, 0.0, 0.0, nullptr);
    std::vector<float> heard = t.pull(627); // ends near the sine's trough
    const std::vector<float> source = sourceFrames(path, 0, 627);
    for (size_t f = 0; f < rampFrames48k; ++f) // fades in from silence
        ASSERT_NEAR(heard[2 * f], source[2 * f] * static_cast<float>(f + 1) / rampFrames48k, 1e-5) << f;
    EXPECT_LT(heard[2 * 626], -0.45f);

    // Seeking to where the sine is 0: the old wave runs down, the new fades in.
    t.engine.seek(10.0);
    std::vector<float> after = t.pull(1000);
    EXPECT_LT(largestStep(heard[2 * 626], after), 0.035f);

    // A new gain glides from 1 to 0.5 over the ramp.
    t.engine.setCorrectionVolume(-6.0);
    const int64_t at = t.engine.sourceReadPosition();
    heard = t.pull(480);
    const std::vector<float> plain = sourceFrames(path, at, 480);
    EXPECT_NEAR(heard[0], plain[0], 0.01f);
    for (size_t f = rampFrames48k; f < 480; ++f)
        ASSERT_FLOAT_EQ(heard[2 * f], plain[2 * f] * t.engine.volume()) << f;
    EXPECT_LT(largestStep(after[after.size() - 2], heard), 0.035f);

    // A pause fades out, then holds silence.
    const float last = heard[2 * 479];
    t.engine.pause();
    heard = t.pull(480);
    EXPECT_LT(largestStep(last, heard), 0.035f);
    EXPECT_EQ(std::count(heard.begin() + 2 * rampFrames48k, heard.end(), 0.0f), 480);
}
