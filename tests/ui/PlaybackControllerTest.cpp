#include "../playback/PlaybackFixtures.h"

#include "../session/ListFixtures.h"
#include "playback/AudioDeviceManager.h"
#include "ui/PlaybackController.h"
#include "ui/Selection.h"
#include "ui/TimeText.h"

TEST(PlaybackControllerTest, ThePlayheadWithNothingSelected) {
    BatchSession state;
    EngineUnderTest t;
    PlaybackController controller(state, t.engine);
    EXPECT_EQ(controller.displayPlayheadTime(), -1.0);
    EXPECT_EQ(controller.timeString(), "0:00.0 / 0:00.0");
    EXPECT_FALSE(controller.canPlay());
    controller.togglePlay(); // nothing selected: nothing happens
    EXPECT_FALSE(t.engine.isPlaying());
    t.engine.seek(42.0);
    EXPECT_EQ(controller.displayPlayheadTime(), 42.0);
    for (const auto& [seconds, text] : std::vector<std::pair<double, QString>>{{5.04, "0:05.0"},
                                                                               {75.3, "1:15.3"},
                                                                               {3600, "1:00:00.0"},
                                                                               {-3, "0:00.0"},
                                                                               {59.97, "1:00.0"},
                                                                               {10799.9, "2:59:59.9"}})
        EXPECT_EQ(TimeText::playhead(seconds), text) << seconds;
    EXPECT_EQ(TimeText::axisLabel(65) + " " + TimeText::axisLabel(3725), "1:05 1:02:05");
}

TEST(PlaybackControllerTest, SelectionJumpsToTheLoudestWindowWhilePlaying) {
    QTemporaryDir dir;
    // 12 s quiet, then 20 s loud: the loudest window starts near 12 s.
    const QString late = dir.filePath("late.wav");
    fixtures::writeMonoWav(
        late,
        fixtures::concat({fixtures::sine(440, 0.01, 48000, 12 * 48000), fixtures::sine(440, 0.5, 48000, 20 * 48000)}),
        48000);
    const QString plain = writeStereo(dir, "plain.wav", 3.0);
    BatchSession state(BatchSession::AnalysisOptions{analyzeFile, 2});
    state.addFiles(urlsOf({plain, late, dir.filePath("pending.wav")}));
    ASSERT_TRUE(waitForAnalyses(state));
    EngineUnderTest t;
    PlaybackController controller(state, t.engine);
    const AudioFileItemPtr first = state.files()[0], second = state.files()[1];

    // Stopped: a click on the waveform at 1.5 s chooses where play starts.
    t.engine.seek(1.5);
    controller.togglePlay();
    EXPECT_TRUE(t.engine.isPlaying());
    EXPECT_EQ(t.engine.currentTime(), 1.5);
    EXPECT_EQ(t.engine.volume(), std::min(4.0f, static_cast<float>(std::pow(10.0, first->correctionDB() / 20.0))));

    // Playing: the next file starts at its loudest 20 s with its own correction.
    Selection::of(state).select(second->id());
    controller.onSelectionChanged();
    EXPECT_EQ(t.engine.currentFilePath(), second->path());
    EXPECT_NEAR(t.engine.currentTime(), second->analysis()->windowStart, 1e-9);
    EXPECT_NEAR(second->analysis()->windowStart, 12.0, 0.5);
    EXPECT_TRUE(controller.timeString().endsWith(" / 0:32.0")) << controller.timeString().toStdString();

    // A correction change during a playback with edits rebuilds the envelope only.
    second->segmentEdits().setSegmentGain(0, 1.0);
    controller.onSelectionChanged();
    EXPECT_TRUE(t.engine.followsEnvelope());
    second->setCorrectionDB(second->correctionDB() - 2.0);
    controller.updateLiveGain();
    EXPECT_EQ(t.engine.volume(), 1.0f);
    const int64_t at = t.engine.sourceReadPosition();
    const std::vector<float> heard = t.pull(1024);
    const std::vector<float> source = sourceFrames(second->path(), at, 1024);
    const float gain = static_cast<float>(std::pow(10.0, (second->correctionDB() + 1.0) / 20.0));
    for (size_t i = 2 * rampFrames48k; i < source.size(); ++i) // after the glide to the new gain
        ASSERT_EQ(heard[i], source[i] * gain) << i;

    // Paused: another selection stops and resets; a file without analysis stops.
    controller.togglePlay();
    EXPECT_TRUE(t.engine.isPaused());
    EXPECT_EQ(controller.displayPlayheadTime(), t.engine.currentTime());
    Selection::of(state).select(first->id());
    controller.onSelectionChanged();
    EXPECT_FALSE(t.engine.isPaused());
    EXPECT_EQ(t.engine.currentTime(), 0.0);
    controller.togglePlay();
    EXPECT_EQ(t.engine.currentTime(), 0.0) << "a fresh selection plays from 0";
    Selection::of(state).select(state.files()[2]->id());
    controller.onSelectionChanged();
    EXPECT_FALSE(t.engine.isPlaying());
    EXPECT_FALSE(controller.canPlay());
}

TEST(PlaybackControllerTest, LiveGainInPlayerModeAndDeviceChoice) {
    QTemporaryDir dir;
    BatchSession state(BatchSession::AnalysisOptions{analyzeFile, 1});
    state.addFiles(urlsOf({writeStereo(dir, "a.wav", 3.0)}));
    ASSERT_TRUE(waitForAnalyses(state));
    EngineUnderTest t;
    PlaybackController controller(state, t.engine);
    const AudioFileItemPtr file = state.files()[0];
    file->setCorrectionDB(30.0);
    controller.updateLiveGain(); // stopped: nothing happens
    EXPECT_EQ(t.engine.volume(), 1.0f);
    controller.togglePlay();
    EXPECT_EQ(t.engine.volume(), 4.0f);
    file->setCorrectionDB(-12.0);
    controller.updateLiveGain();
    EXPECT_EQ(t.engine.volume(), static_cast<float>(std::pow(10.0, -12.0 / 20.0)));

    // Another device reopens the output and keeps playing from where it was.
    t.pull(4096);
    const int64_t before = t.engine.sourceReadPosition();
    const int opens = t.output->opens();
    controller.chooseOutputDevice(4); // the picker's id: device index 3
    EXPECT_EQ(t.output->device(), 3);
    EXPECT_EQ(t.output->opens(), opens + 1);
    controller.chooseOutputDevice(AudioDeviceManager::systemDefaultID); // applies nothing
    EXPECT_EQ(t.output->device(), 3);
    EXPECT_EQ(t.output->opens(), opens + 1);
    EXPECT_EQ(controller.selectedDeviceID(), 0u);
    EXPECT_TRUE(t.engine.isPlaying());
    EXPECT_EQ(t.engine.sourceReadPosition(), before);
}
