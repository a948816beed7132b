#include "ListFixtures.h"
#include "io/AudioReader.h"
#include "session/ExportPlan.h"
#include "session/ExportSession.h"

#include <QThread>

namespace {

bool waitForExport(const ExportSession& exports) {
    return fixtures::waitUntil([&] { return !exports.isExporting(); });
}

} // namespace

TEST(ExportRunTest, ClippingGuardAndSafeTarget) {
    auto under = measuredItem("/m/under.wav", -20.0, -2.0, 1.05);
    auto over = measuredItem("/m/over.wav", -20.0, -2.0, 1.2);
    auto lowered = measuredItem("/m/lowered.wav", -18.0, -2.0, 2.0);
    lowered->segmentEdits().setSegmentGain(0, -3.0);
    auto raised = measuredItem("/m/raised.wav", -25.0, -7.0, 4.0);
    raised->segmentEdits().addSeparator(10.0);
    raised->segmentEdits().setSegmentGain(1, 3.0);
    auto unanalysed = measuredItem("/m/none.wav", NAN, NAN, 50.0);

    const std::vector<ClippingFile> clipping =
        ExportPlan::findClippingFiles({under, over, lowered, raised, unanalysed}, -1.0);
    ASSERT_EQ(clipping.size(), 2u);
    EXPECT_EQ(clipping[0].fileName, "over.wav");
    EXPECT_NEAR(clipping[0].overshootDB, 0.2, 1e-12);
    EXPECT_EQ(clipping[1].fileName, "raised.wav");
    EXPECT_NEAR(clipping[1].overshootDB, 1.0, 1e-12);

    EXPECT_DOUBLE_EQ(*ExportPlan::computeSafeTarget({under, lowered, raised, unanalysed}, -1.0), -22.0)
        << "raised by 3 dB, at +3 dB its peak is at the ceiling";
    EXPECT_FALSE(ExportPlan::computeSafeTarget({unanalysed}, -1.0));

    ExportSettings settings;
    settings.destinationFolder = "/out/normalized";
    settings.format = ExportFormat::flac;
    const ExportRun::Plan plan = ExportPlan::buildPlan({under, raised, unanalysed}, settings);
    ASSERT_EQ(plan.jobs.size(), 2u);
    EXPECT_EQ(plan.sources.size(), 3) << "every listed file is guarded, analysed or not";
    EXPECT_FALSE(plan.jobs[0].segmentEdits);
    EXPECT_EQ(plan.jobs[1].segmentEdits, raised->segmentEdits().snapshot());
    EXPECT_DOUBLE_EQ(plan.jobs[1].promisedLUFS, -21.0);
    raised->segmentEdits().setSegmentGain(1, 9.0);
    EXPECT_EQ(plan.jobs[1].segmentEdits->segmentGains[1].gainOffsetDB, 3.0)
        << "the job keeps the edits as they were when it was built";
}

TEST(ExportRunTest, StatusLineProgressAndABadFileThatDoesNotStopTheOthers) {
    QTemporaryDir dir;
    BatchSession state(BatchSession::AnalysisOptions{analyzeFile, 2});
    const QString gone = writeTone(dir, "gone.wav", 1.0);
    state.addFiles(urlsOf({writeTone(dir, "edited.wav", 4.0), gone, writeTone(dir, "c.wav", 1.0)}));
    ASSERT_TRUE(waitForAnalyses(state));
    state.files()[0]->segmentEdits().setSegmentGain(0, -1.0);
    QFile::remove(gone);
    QList<int64_t> finished;
    bool withinAFile = false; // a share of a running file shown
    ExportSession exports(state);
    QObject::connect(&exports, &ExportSession::progressChanged, [&] {
        if (finished.isEmpty() || finished.back() != exports.progress().current)
            finished << exports.progress().current;
        withinAFile = withinAFile || exports.progress().done != std::floor(exports.progress().done);
    });
    std::optional<ExportRun::Summary> result;
    QObject::connect(&exports, &ExportSession::finished, [&](const ExportRun::Summary& r) { result = r; });

    // What a killed run left in the temporary folder goes at the start.
    QTemporaryDir tmp;
    const QString stale = fixtures::writeFile(tmp.filePath(".sonivel-0A1B2C3D-0000-4000-8000-00000000ABCD.wav"), "x");
    {
        const fixtures::TemporaryFolder inTmp(tmp.path());
        exports.start(true, dir.filePath("out"), ExistingOutputs::keepBoth);
        EXPECT_TRUE(exports.isExporting());
        ASSERT_TRUE(waitForExport(exports));
    }
    EXPECT_FALSE(QFileInfo::exists(stale));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->writtenCount(), 2);
    ASSERT_EQ(result->failedCount(), 1);
    ASSERT_TRUE(result->files[1].error);
    EXPECT_TRUE(result->files[1].error->message.contains("gone.wav")) << result->files[1].error->message.toStdString();
    EXPECT_EQ(finished, (QList<int64_t>{0, 1, 2, 3, 0}));
    EXPECT_TRUE(withinAFile);
    EXPECT_EQ(fixtures::filesIn(dir.filePath("out/normalized")),
              (QStringList{"c (-16LUFS).wav", "edited (-17LUFS).wav"}));

    // Nothing analysed: zero jobs, straight to complete, nothing written.
    BatchSession empty;
    ExportSession none(empty);
    std::optional<ExportRun::Summary> nothing;
    QObject::connect(&none, &ExportSession::finished, [&](const ExportRun::Summary& r) { nothing = r; });
    none.start(true, dir.filePath("none"), ExistingOutputs::keepBoth);
    ASSERT_TRUE(waitForExport(none));
    EXPECT_TRUE(nothing && nothing->files.empty() && !nothing->error && !nothing->cancelled);
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("none")));

    // A cancelled folder chooser changes nothing.
    exports.start(true, QString(), ExistingOutputs::keepBoth);
    EXPECT_FALSE(exports.isExporting());
    // A folder that cannot be made ends the run before any file, and says why.
    const QString file = fixtures::writeFile(dir.filePath("file"), "x");
    exports.start(true, dir.filePath("file/out"), ExistingOutputs::keepBoth);
    ASSERT_TRUE(waitForExport(exports));
    EXPECT_EQ(result->writtenCount() + result->failedCount(), 0);
    EXPECT_EQ(
        result->error->message,
        QString(R"(Cannot create the folder "%1": "%2" is a file)").arg(dir.filePath("file/out/normalized"), file));
}

TEST(ExportRunTest, MP3NeverGoesWithNinetySixKilohertz) {
    // (Choosing MP3 lowers 96 kHz; the status line's test shows it.)
    BatchSession state;
    ExportSession exports(state);
    exports.setFormat(ExportFormat::mp3_192);
    exports.setSampleRate(SampleRate::rate96000);
    EXPECT_EQ(exports.choices().sampleRate, SampleRate::rate48000);
    exports.setFormat(ExportFormat::flac);
    exports.setSampleRate(SampleRate::rate96000);
    EXPECT_EQ(exports.choices().sampleRate, SampleRate::rate96000);
}

TEST(ExportRunTest, CancellingMidBatchKeepsOnlyWholeFiles) {
    QTemporaryDir dir;
    BatchSession state(BatchSession::AnalysisOptions{analyzeFile, 2});
    QStringList sources;
    for (const char* name : {"a.wav", "b.wav", "c.wav", "d.wav", "e.wav"})
        sources << writeTone(dir, name, 30.0, 0.1, 2);
    state.addFiles(urlsOf(sources));
    ASSERT_TRUE(waitForAnalyses(state));
    ExportSession exports(state);
    exports.setFormat(ExportFormat::flac);
    std::optional<ExportRun::Summary> result;
    QObject::connect(&exports, &ExportSession::finished, [&](const ExportRun::Summary& r) { result = r; });
    // Cancelled once the first file is done and the next is on its way; the
    // bar stands still from then on, even for what the run sent meanwhile.
    bool cancelled = false;
    int movedAfterCancel = 0;
    QObject::connect(&exports, &ExportSession::progressChanged, [&] {
        movedAfterCancel += cancelled && exports.isExporting();
        if (exports.progress().current >= 1 && exports.progress().done > 1.2 && !cancelled) {
            QThread::msleep(100);
            exports.cancel();
            cancelled = true;
        }
    });
    exports.start(true, dir.filePath("out"), ExistingOutputs::keepBoth);
    ASSERT_TRUE(waitForExport(exports));
    EXPECT_EQ(movedAfterCancel, 0);
    ASSERT_TRUE(result && result->cancelled);
    EXPECT_GE(result->writtenCount(), 1);
    EXPECT_LT(result->writtenCount(), 5);
    EXPECT_EQ(result->failedCount(), 0) << "a cancelled job is no failure";
    const QString dest = dir.filePath("out/normalized");
    EXPECT_EQ(fixtures::filesIn(dest).size(), result->writtenCount())
        << fixtures::filesIn(dest).join(", ").toStdString();
    for (const QString& name : fixtures::filesIn(dest))
        EXPECT_EQ(AudioReader(dest + "/" + name).frames(), 30 * 48000) << name.toStdString();
    { // A session that goes mid-run stops its run instead of finishing it.
        ExportSession leaving(state);
        leaving.start(true, dir.filePath("left"), ExistingOutputs::keepBoth);
    }
    EXPECT_LT(fixtures::filesIn(dir.filePath("left/normalized")).size(), 5);
    // Cancelled before any file is done: not even the folders it made stay.
    exports.start(true, dir.filePath("new/out"), ExistingOutputs::keepBoth);
    exports.cancel();
    ASSERT_TRUE(waitForExport(exports));
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("new")));
}
