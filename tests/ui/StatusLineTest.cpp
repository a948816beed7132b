#include "ui/StatusLine.h"
#include "../session/ListFixtures.h"
#include "session/ExportSession.h"
#include "support/AudioFixtures.h"
#include "ui/TaggingAction.h"

TEST(StatusLineTest, PutsTheSessionsOutcomesIntoWords) {
    QTemporaryDir dir;
    BatchSession state(BatchSession::AnalysisOptions{
        [](const QString&, ChannelMix, std::stop_token) { return FileAnalysis::failure(Error::Kind::decode, "no"); },
        1});
    ExportSession exports(state);
    StatusLine status(state, exports);
    QStringList texts;
    QObject::connect(&status, &StatusLine::textChanged, [&](const QString& t) { texts << t; });

    // Analyses, with a notice kept for their end; one given while none runs shows at once.
    state.addFiles(urlsOf({writeTone(dir, "a.wav", 0.2), writeTone(dir, "b.wav", 0.2)}));
    status.showWhenAnalysed("The settings file names no channel mix.");
    ASSERT_TRUE(fixtures::waitUntil([&] { return !state.isAnalyzing(); }));
    EXPECT_EQ(texts, (QStringList{"Analyzing 2 file(s)...", "Analyzing 1/2...", "Analyzing 2/2...",
                                  "Analysis complete. 2 files could not be analysed: a.wav, b.wav. The settings "
                                  "file names no channel mix."}));
    status.showWhenAnalysed("Now.");
    EXPECT_EQ(status.text(), "Now.");
    exports.setSampleRate(SampleRate::rate96000);
    exports.setFormat(ExportFormat::mp3_320);
    EXPECT_EQ(status.text(), "MP3 320k holds at most 48000 Hz; the sample rate is now 48000 Hz.");

    // A run's start and its end, whatever it came to.
    EXPECT_EQ(StatusLine::exportStart(1), "Exporting 1 file...");
    EXPECT_EQ(StatusLine::exportStart(3), "Exporting 3 files...");
    const auto written = [](const char* name, QString note = {}) {
        ExportedFile f;
        f.path = QString("/out/") + name;
        f.offTarget = !note.isEmpty();
        f.note = note;
        return ExportRun::FileResult{"/in/x.wav", f, {}};
    };
    const auto error = [](const char* message) { return Error{Error::Kind::file, message, {}, std::nullopt}; };
    const ExportRun::FileResult failed{"/in/gone.wav", std::nullopt, error("File not found")};
    const auto summary = [](std::vector<ExportRun::FileResult> files, bool cancelled = false,
                            std::optional<Error> error = std::nullopt) {
        return ExportRun::Summary{std::move(files), cancelled, std::move(error)};
    };
    const std::pair<ExportRun::Summary, QString> cases[] = {
        {summary({written("a.wav"), written("b.wav")}), "Export complete!"},
        {summary({}, false, error("Cannot create the folder")), "Export error: Cannot create the folder"},
        {summary({written("a.wav"), {}}, true), "Export cancelled: 1 file written."},
        {summary({written("a.wav"), written("b.wav"), {}}, true), "Export cancelled: 2 files written."},
        {summary({written("a.wav"), failed}),
         "Export finished: 1 file written, 1 file failed: gone.wav (File not found)."},
        {summary({written("h.wav", "held at -9.0 LUFS"), {"/in/b.wav", {}, {}, "/out/b.wav"}}),
         "Export complete! 1 file up to date, left as it was. Off target: h.wav: held at -9.0 LUFS."},
    };
    for (const auto& [run, text] : cases)
        EXPECT_EQ(StatusLine::exportSummary(run), text);
    exports.start(true, dir.filePath("out"), ExistingOutputs::keepBoth); // both files failed their analysis
    ASSERT_TRUE(fixtures::waitUntil([&] { return !exports.isExporting(); }));
    EXPECT_EQ(status.text(), "Export complete! Not exported (not analysed): a.wav, b.wav.");
}

TEST(StatusLineTest, WritingTagsAsksThenSaysWhatItDid) {
    QTemporaryDir dir;
    AnalysisCache cache(dir.filePath("cache.sqlite"));
    BatchSession state(BatchSession::throughCache(cache));
    ExportSession exports(state);
    StatusLine status(state, exports);
    TaggingAction tagging(state, status, cache, nullptr);
    int asked = 0;
    tagging.confirm = [&](QWidget*, int count) { return ++asked, count == 2; };
    state.setAlbumMode(true);
    const QString loud = dir.filePath("a.flac"), soft = dir.filePath("b.flac");
    ASSERT_TRUE(fixtures::runFFmpeg({"-i", writeTone(dir, "a.wav", 3, 0.4), "-metadata", "album=X", loud}));
    ASSERT_TRUE(fixtures::runFFmpeg({"-i", writeTone(dir, "b.wav", 3, 0.1), "-metadata", "album=X", soft}));
    state.addFiles(urlsOf({loud, soft, writeTone(dir, "c.wav", 3)}));
    ASSERT_TRUE(fixtures::waitUntil([&] { return !state.isAnalyzing(); }));
    tagging.action()->trigger();
    ASSERT_TRUE(fixtures::waitUntil([&] { return tagging.action()->isEnabled(); }));
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(status.text(), "Tags written into 2 files. 1 file of a kind without such tags passed over.");
    // Track gains 12 dB apart; one album gain, from the mean power of both
    // (both over the relative gate): 10·log10(2 / (1 + 1/16)) = 2.75 dB over the louder's.
    const auto gain = [](const QString& f, const char* tag) {
        return fixtures::probed(f, QStringLiteral("format_tags=%1").arg(tag)).section('=', 1).section(' ', 0, 0);
    };
    const double loudGain = gain(loud, "REPLAYGAIN_TRACK_GAIN").toDouble();
    EXPECT_NEAR(gain(soft, "REPLAYGAIN_TRACK_GAIN").toDouble() - loudGain, 12.04, 0.02);
    EXPECT_EQ(gain(loud, "REPLAYGAIN_ALBUM_GAIN"), gain(soft, "REPLAYGAIN_ALBUM_GAIN"));
    EXPECT_NEAR(gain(loud, "REPLAYGAIN_ALBUM_GAIN").toDouble() - loudGain, 2.75, 0.02);
    tagging.action()->trigger(); // the same tags again: nothing to write
    ASSERT_TRUE(fixtures::waitUntil([&] { return status.text().startsWith("Tags written into 0 files."); }));
    EXPECT_TRUE(status.text().contains("2 files had them already."));
}
