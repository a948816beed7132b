#include "FakeFFmpeg.h"

#include "../list/ListFixtures.h"
#include "export/ExportSession.h"

namespace {

AnalysisResult measured(double peakLUFS, double peakDBFS) {
    AnalysisResult r;
    r.peakLUFS = peakLUFS;
    r.peakDBFS = peakDBFS;
    return r;
}

AudioFileItemPtr itemWith(const QString& path, std::optional<AnalysisResult> analysis, double correction) {
    auto item = std::make_shared<AudioFileItem>(QUrl::fromLocalFile(path));
    item->setAnalysis(std::move(analysis));
    item->setCorrectionDB(correction);
    return item;
}

bool waitForExport(const ExportSession& exports) {
    return fixtures::waitUntil([&] { return !exports.isExporting(); });
}

} // namespace

TEST(ExportRunTest, ClippingGuardAndSafeTarget) {
    auto under = itemWith("/m/under.wav", measured(-20.0, -1.0), 1.05);
    auto over = itemWith("/m/over.wav", measured(-20.0, -1.0), 1.2);
    auto lowered = itemWith("/m/lowered.wav", measured(-18.0, -1.0), 2.0);
    lowered->segmentEdits().setSegmentGain(0, -3.0);
    auto raised = itemWith("/m/raised.wav", measured(-25.0, -6.0), 4.0);
    raised->segmentEdits().addSeparator(10.0);
    raised->segmentEdits().setSegmentGain(1, 3.0);
    auto unanalysed = itemWith("/m/none.wav", std::nullopt, 50.0);

    const std::vector<ClippingFile> clipping = ExportRun::findClippingFiles({under, over, lowered, raised, unanalysed});
    ASSERT_EQ(clipping.size(), 2u);
    EXPECT_EQ(clipping[0].fileName, "over.wav");
    EXPECT_NEAR(clipping[0].overshootDB, 0.2, 1e-12);
    EXPECT_EQ(clipping[1].fileName, "raised.wav");
    EXPECT_NEAR(clipping[1].overshootDB, 1.0, 1e-12);

    EXPECT_DOUBLE_EQ(*ExportRun::computeSafeTarget({under, lowered, raised, unanalysed}), -19.0);
    EXPECT_FALSE(ExportRun::computeSafeTarget({unanalysed}));

    const ExportRun::Plan plan = ExportRun::buildPlan({under, raised, unanalysed}, "/out/normalized",
                                                      ExportFormat::flac, SampleRate::rate44100, true);
    ASSERT_EQ(plan.renderJobs.size(), 1u);
    ASSERT_EQ(plan.exportJobs.size(), 1u);
    EXPECT_EQ(plan.renderJobs[0].segmentEdits, raised->segmentEdits().snapshot());
    EXPECT_DOUBLE_EQ(plan.renderJobs[0].finalLUFS, -21.0);
    raised->segmentEdits().setSegmentGain(1, 9.0);
    EXPECT_EQ(plan.renderJobs[0].segmentEdits.segmentGains[1].gainOffsetDB, 3.0)
        << "the job keeps the edits as they were when it was built";
    EXPECT_EQ(plan.exportJobs[0].format, ExportFormat::flac);
    EXPECT_TRUE(plan.exportJobs[0].useLimiter);
}

TEST(ExportRunTest, StatusLineFollowsRenderThenEncoderJobs) {
    QTemporaryDir dir;
    FakeFFmpeg fake(dir.path());
    AppState state(AppState::AnalysisOptions{analyzeFileOutcome, 2});
    state.addFiles(
        urlsOf({writeTone(dir, "edited.wav", 4.0), writeTone(dir, "b.wav", 1.0), writeTone(dir, "c.wav", 1.0)}));
    ASSERT_TRUE(waitForAnalyses(state));
    state.files()[0]->segmentEdits().setSegmentGain(0, -1.0);
    StatusRecorder status(state);
    QList<std::pair<int64_t, int64_t>> progress;
    ExportSession exports(state);
    QObject::connect(&exports, &ExportSession::progressChanged,
                     [&] { progress << std::pair(exports.progress().current, exports.progress().total); });
    std::optional<ExportRun::Result> result;
    QObject::connect(&exports, &ExportSession::finished, [&](const ExportRun::Result& r) { result = r; });

    // What a killed run left in the temporary folder goes at the start.
    QTemporaryDir tmp;
    const QString stale = fixtures::writeFile(tmp.filePath(".sonivel-0A1B2C3D-0000-4000-8000-00000000ABCD.wav"), "x");
    {
        const fixtures::TemporaryFolder inTmp(tmp.path());
        exports.start(false, dir.filePath("out"), fake.path);
        EXPECT_TRUE(exports.isExporting());
        ASSERT_TRUE(waitForExport(exports));
    }
    EXPECT_FALSE(QFileInfo::exists(stale));
    ASSERT_TRUE(result && result->ok());
    EXPECT_EQ(result->value().size(), 3u);
    EXPECT_EQ(status.texts, (QStringList{"Exporting 3 files...", "Exporting 1/3...", "Exporting 2/3...",
                                         "Exporting 3/3...", "Export complete!"}));
    EXPECT_EQ(progress, (QList<std::pair<int64_t, int64_t>>{{0, 3}, {1, 3}, {2, 3}, {3, 3}, {0, 0}}));
    EXPECT_EQ(fake.runs().size(), 2) << "the edited WAV is written in-app";
    EXPECT_TRUE(QFileInfo::exists(dir.filePath("out/normalized/edited (-16LUFS).wav")));

    // Nothing analysed: zero jobs, straight to complete, nothing written.
    AppState empty;
    StatusRecorder emptyStatus(empty);
    ExportSession none(empty);
    none.start(false, dir.filePath("none"), fake.path);
    ASSERT_TRUE(waitForExport(none));
    EXPECT_EQ(emptyStatus.texts, (QStringList{"Exporting 0 files...", "Export complete!"}));
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("none")));
}

TEST(ExportRunTest, FirstErrorEndsTheRun) {
    QTemporaryDir dir;
    AppState state(AppState::AnalysisOptions{analyzeFileOutcome, 2});
    state.addFiles(urlsOf({writeTone(dir, "a.wav", 3.5), writeTone(dir, "b.wav", 3.5), writeTone(dir, "c.wav", 1.0)}));
    ASSERT_TRUE(waitForAnalyses(state));
    state.files()[0]->segmentEdits().addSeparator(3.0);
    state.files()[1]->segmentEdits().addSeparator(3.0);
    ExportSession exports(state);
    exports.setFormat(ExportFormat::mp3_128);

    // The encoder fails on the edited files, which start first, side by
    // side: the third job never starts.
    FakeFFmpeg failing(dir.path(), 1);
    StatusRecorder status(state);
    exports.start(false, dir.filePath("out"), failing.path);
    ASSERT_TRUE(waitForExport(exports));
    EXPECT_EQ(status.texts,
              (QStringList{"Exporting 3 files...",
                           "Export error: FFmpeg encode failed: the encoder stopped with exit code 1 and no message"}));
    EXPECT_LE(failing.runs().size(), 2);
    EXPECT_EQ(exports.progress(), (ExportProgress{0, 0}));

    // A cancelled folder chooser changes nothing.
    exports.start(false, QString(), failing.path);
    EXPECT_EQ(status.texts.size(), 2);
}

TEST(ExportRunTest, MP3NeverGoesWithNinetySixKilohertz) {
    AppState state;
    ExportSession exports(state);
    exports.setSampleRate(SampleRate::rate96000);
    exports.setFormat(ExportFormat::mp3_192);
    EXPECT_EQ(exports.choices().sampleRate, SampleRate::rate48000);
    EXPECT_EQ(state.statusMessage(), "MP3 192k holds at most 48000 Hz; the sample rate is now 48000 Hz.");
    exports.setSampleRate(SampleRate::rate96000);
    EXPECT_EQ(exports.choices().sampleRate, SampleRate::rate48000);
    exports.setFormat(ExportFormat::flac);
    exports.setSampleRate(SampleRate::rate96000);
    EXPECT_EQ(exports.choices().sampleRate, SampleRate::rate96000);
}
