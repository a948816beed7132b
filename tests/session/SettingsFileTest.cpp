#include "ListFixtures.h"

#include "session/SettingsFile.h"

namespace {

std::optional<SettingsData> decoded(const QByteArray& json) {
    const Result<SettingsData> result = SettingsFile::decode(json);
    return result.ok() ? std::optional(result.value()) : std::nullopt;
}

QString errorOf(const QByteArray& json) { return SettingsFile::decode(json).error().message; }

} // namespace

TEST(SettingsFileTest, EncodesCompactlyAndDecodesAnyKeyOrderAndEscapedSlashes) {
    const SettingsData data{-14.5,
                            {{"/music/a b/Song.wav", 2.5, false, {}, {}},
                             {"/x/é.flac", -0.1, true, SettingsData::Segments{{{20.0, 500.0}}, {0.0, -1.5}}, "x/y"}},
                            -1.0,
                            ChannelMix::average};
    const QByteArray json = SettingsFile::encode(data);
    EXPECT_FALSE(json.contains('\n'));
    EXPECT_FALSE(json.contains(' ') && !json.contains("a b"));
    EXPECT_EQ(decoded(json), data);
    EXPECT_EQ(decoded(R"({"files":[{"manual":true,"correction_db":-16,"path":"\/a\/b.wav","extra":[1]}],)"
                      R"("unknown":{"x":1},"target_lufs":-23})"),
              (SettingsData{-23.0, {{"/a/b.wav", -16.0, true, {}, {}}}, -1.0, std::nullopt}));
}

TEST(SettingsFileTest, BadInputGivesAReasonAndNeverCrashes) {
    const QByteArray good = R"({"target_lufs":-16,"files":[{"path":"/a.wav","correction_db":1,"manual":false}]})";
    EXPECT_TRUE(errorOf(good).isEmpty());
    EXPECT_TRUE(errorOf("").startsWith("The file is not valid JSON"));
    EXPECT_TRUE(errorOf(good.left(good.size() - 5)).startsWith("The file is not valid JSON"));
    const std::pair<QByteArray, QString> cases[] = {
        {"[1,2]", "The file does not hold a settings object."},
        {R"({"files":[]})", R"(The key "target_lufs" is missing.)"},
        {R"({"target_lufs":"-16","files":[]})", R"("target_lufs" must be a number.)"},
        {R"({"target_lufs":-16,"ceiling_dbtp":null,"files":[]})", R"("ceiling_dbtp" must be a number.)"},
        {R"({"target_lufs":-16,"files":{}})", R"("files" must be a list.)"},
        {R"({"target_lufs":-16,"channel_mix":"mono","files":[]})", R"("channel_mix" must be "sum" or "average".)"},
        {R"({"target_lufs":-16,"files":[{"path":"/a","correction_db":0,"manual":false},{"path":"/b","correction_db":0}]})",
         R"(The key "manual" is missing in file entry 2.)"},
        {R"({"target_lufs":-16,"files":[{"path":"/a","correction_db":0,"manual":1}]})",
         R"("manual" in file entry 1 must be true or false.)"},
        {R"({"target_lufs":-16,"files":[{"path":7,"correction_db":0,"manual":true}]})",
         R"("path" in file entry 1 must be text.)"},
        {R"({"target_lufs":-16,"files":[3]})", "The file entry 1 is not an object."},
        {R"({"target_lufs":-16,"files":[{"path":"/a","correction_db":0,"manual":true,"folder":"A/../../etc"}]})",
         R"("folder" in file entry 1 must be a folder inside the export folder, like "Artist/Album".)"},
    };
    for (const auto& [json, error] : cases)
        EXPECT_EQ(errorOf(json), error) << json.toStdString();
    EXPECT_FALSE(errorOf(R"({"target_lufs":1e999,"files":[]})").isEmpty());
    EXPECT_TRUE(errorOf(R"({"target_lufs":-16,"files":[{"path":"/a","correction_db":0,"manual":false,)"
                        R"("segments":{"separators":[{"seconds":1,"fade_ms":0}],"gains_db":[0,1]}}]})")
                    .startsWith("The segments in file entry 1 do not fit together: separators must come in order"));

    // Deep nesting and bytes that are not UTF-8.
    const QByteArray deep =
        R"({"target_lufs":-16,"files":[],"x":)" + QByteArray(100000, '[') + QByteArray(100000, ']') + "}";
    EXPECT_FALSE(errorOf(deep).isEmpty());
    EXPECT_FALSE(errorOf("{\"target_lufs\":-16,\"files\":[{\"path\":\"/a\xff\xfe.wav\","
                         "\"correction_db\":0,\"manual\":false}]}")
                     .isEmpty());
}

TEST(SettingsFileTest, SaveAndLoadRoundTripThroughTheState) {
    QTemporaryDir dir;
    const QString a = writeTone(dir, "a.wav", 2.0), b = writeTone(dir, "b.wav", 2.0, 0.1);
    const QString settings = dir.filePath(SettingsFile::suggestedFileName);
    {
        BatchSession state(BatchSession::AnalysisOptions{analyzeFile, 2});
        state.addFiles(urlsOf({a, b, a + ".missing.wav"}));
        ASSERT_TRUE(waitForAnalyses(state));
        state.files()[0]->setCorrectionDB(1.23);
        state.files()[0]->setIsManualOverride(true);
        state.files()[0]->segmentEdits().addSeparator(4.0);
        state.files()[0]->segmentEdits().setSegmentGain(1, -2.5);
        state.files()[1]->setSubfolder("Artist/Album");
        state.setTargetLUFS(-18.0);
        state.setCeilingDBTP(-2.34);
        state.setChannelMix(ChannelMix::average);
        state.setNormalizeBy(NormalizeBy::integrated);
        ASSERT_TRUE(waitForAnalyses(state));
        state.recalcCorrections();
        EXPECT_TRUE(SettingsFile::saveSettings(state, settings).ok());
    }

    BatchSession loaded(BatchSession::AnalysisOptions{analyzeFile, 2});
    loaded.addFiles(urlsOf({b})); // replaced by the load
    ASSERT_TRUE(waitForAnalyses(loaded));
    EXPECT_FALSE(SettingsFile::loadSettings(loaded, settings).value().mixAssumed);
    EXPECT_EQ(loaded.targetLUFS(), -18.0);
    EXPECT_EQ(loaded.ceilingDBTP(), -2.3);
    EXPECT_EQ(loaded.channelMix(), ChannelMix::average);
    EXPECT_EQ(loaded.normalizeBy(), NormalizeBy::integrated);
    ASSERT_EQ(loaded.files().size(), 2u) << "the missing file is skipped";
    EXPECT_EQ(loaded.files()[0]->path(), a);
    EXPECT_EQ(loaded.files()[1]->path(), b);
    ASSERT_TRUE(waitForAnalyses(loaded));
    EXPECT_EQ(loaded.files()[0]->correctionDB(), 1.23);
    EXPECT_TRUE(loaded.files()[0]->isManualOverride());
    EXPECT_EQ(SettingsData::Segments::of(loaded.files()[0]->segmentEdits().snapshot()),
              (SettingsData::Segments{{{4.0, 500.0}}, {0.0, -2.5}}));
    EXPECT_FALSE(loaded.files()[1]->segmentEdits().hasEdits());
    EXPECT_EQ(loaded.files()[1]->subfolder() + loaded.files()[0]->subfolder(), "Artist/Album");
    EXPECT_EQ(loaded.files()[1]->correctionDB(),
              BatchSession::correctionFor(-18.0, loaded.files()[1]->analysis()->figures.integratedLUFS));
    EXPECT_EQ(loaded.files()[1]->analysis()->channelMix, ChannelMix::average);

    // A file from before the mix could be chosen measures the sum, and says so.
    fixtures::writeFile(settings, R"({"target_lufs":-16,"files":[{"path":")" + b.toUtf8() +
                                      R"(","correction_db":0,"manual":false}]})");
    EXPECT_TRUE(SettingsFile::loadSettings(loaded, settings).value().mixAssumed);
    ASSERT_TRUE(waitForAnalyses(loaded));
    EXPECT_EQ(loaded.channelMix(), ChannelMix::sum);
    EXPECT_EQ(loaded.files()[0]->analysis()->channelMix, ChannelMix::sum);
}

TEST(SettingsFileTest, LoadClampsTheTargetAndFailuresLeaveTheListAlone) {
    QTemporaryDir dir;
    const QString a = writeTone(dir, "a.wav", 1.0);
    BatchSession state(BatchSession::AnalysisOptions{analyzeFile, 2});
    state.addFiles(urlsOf({a}));
    ASSERT_TRUE(waitForAnalyses(state));
    const AudioFileItemPtr original = state.files()[0];

    const QString path = dir.filePath("s.json");
    const auto load = [&](const QByteArray& text) {
        fixtures::writeFile(path, text);
        return SettingsFile::loadSettings(state, path);
    };
    EXPECT_FALSE(load(R"({"target_lufs":-16,"files":[{"path":")" + a.toUtf8() + R"(","correction_db":0}]})").ok());
    ASSERT_EQ(state.files().size(), 1u);
    EXPECT_EQ(state.files()[0], original);

    EXPECT_EQ(SettingsFile::loadSettings(state, dir.filePath("absent.json")).error().kind, Error::Kind::settings);
    EXPECT_EQ(state.files()[0], original);

    // A path that is no valid text (a lone surrogate) names no file: skipped.
    load(
        R"({"target_lufs":-50,"ceiling_dbtp":-9,"files":[{"path":"/tmp/\ud800.wav","correction_db":0,"manual":false}]})");
    EXPECT_EQ(state.targetLUFS(), -40.0);
    EXPECT_EQ(state.ceilingDBTP(), -6.0);
    EXPECT_TRUE(state.files().empty());

    // Corrections held to ±30 dB; a named pipe becomes a row with its error.
    const QString pipe = fixtures::specialFiles(dir.path())[0];
    const auto entry = [](const QString& file, const char* correction) {
        return R"({"path":")" + file.toUtf8() + R"(","correction_db":)" + correction + R"(,"manual":true})";
    };
    load(R"({"target_lufs":-1,"files":[)" + entry(a, "1e300") + "," + entry(a, "-1000") + "," + entry(pipe, "0") +
         "]}");
    EXPECT_EQ(state.targetLUFS(), -3.0);
    ASSERT_EQ(state.files().size(), 3u) << "a path listed twice gives two items";
    EXPECT_NE(state.files()[0]->id(), state.files()[1]->id());
    EXPECT_EQ(state.files()[0]->correctionDB(), 30.0);
    EXPECT_EQ(state.files()[1]->correctionDB(), -30.0);
    ASSERT_TRUE(waitForAnalyses(state));
    EXPECT_EQ(state.files()[2]->analysisError()->message, R"(Cannot read "pipe.wav": a named pipe, not a file)");
}

TEST(SettingsFileTest, SavingNeverReplacesAnAudioFileAndReportsWriteErrors) {
    QTemporaryDir dir;
    const QString a = writeTone(dir, "a.wav", 1.0);
    const QByteArray audio = fixtures::readFile(a);
    BatchSession state(BatchSession::AnalysisOptions{analyzeFile, 1});
    state.addFiles(urlsOf({a}));
    ASSERT_TRUE(waitForAnalyses(state));

    EXPECT_EQ(SettingsFile::saveSettings(state, a).error().message,
              R"("a.wav" is one of the audio files in the list and is not replaced.)");
    EXPECT_EQ(fixtures::readFile(a), audio);

    EXPECT_GT(SettingsFile::saveSettings(state, dir.filePath("no/such/folder/s.json")).error().message.size(), 10);
}

TEST(SettingsFileTest, APresetSetsItsThreeValuesTogetherAndAnEditMakesItCustom) {
    QTemporaryDir dir;
    const QString settings = dir.filePath("s.json");
    BatchSession state;
    state.setPreset(TargetPreset::amazon);
    EXPECT_EQ(state.currentAim().values, (TargetValues{-14.0, NormalizeBy::integrated, -2.0}));
    SettingsFile::saveSettings(state, settings);
    BatchSession loaded;
    SettingsFile::loadSettings(loaded, settings);
    EXPECT_EQ(loaded.preset(), TargetPreset::amazon);
    loaded.setCeilingDBTP(-1.0);
    EXPECT_EQ(loaded.preset(), TargetPreset::custom);
    state.setNormalizeBy(NormalizeBy::loudest);
    EXPECT_EQ(state.preset(), TargetPreset::custom);
    // A file naming a preset whose values it does not hold loads them as Custom.
    fixtures::writeFile(settings, R"({"target_lufs":-16,"preset":"amazon","files":[]})");
    state.setPreset(TargetPreset::ebuR128);
    SettingsFile::loadSettings(state, settings);
    EXPECT_EQ(state.preset(), TargetPreset::custom);
    EXPECT_EQ(state.targetLUFS(), -16.0);
    EXPECT_TRUE(errorOf(R"({"target_lufs":-16,"preset":"radio","files":[]})")
                    .startsWith(R"("preset" must be "custom" or one of spotify, youtube,)"));
}
