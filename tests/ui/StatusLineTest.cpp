#include "ui/StatusLine.h"
#include "../session/ListFixtures.h"
#include "session/ExportSession.h"

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
