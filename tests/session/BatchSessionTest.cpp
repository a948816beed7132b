#include "GatedAnalyzer.h"
#include "ListFixtures.h"

#include <QElapsedTimer>

TEST(BatchSessionTest, CorrectionRoundsToTenthsWithHalvesAwayFromZero) {
    EXPECT_DOUBLE_EQ(BatchSession::correctionFor(-16.0, -23.46), 7.5);
    EXPECT_DOUBLE_EQ(BatchSession::correctionFor(-16.0, -16.25), 0.3);
    EXPECT_DOUBLE_EQ(BatchSession::correctionFor(-16.0, -15.75), -0.3);
    EXPECT_DOUBLE_EQ(BatchSession::correctionFor(-16.0, -70.0), 54.0);
}

// A drop of five paths: three audio files (one upper-case WAV, one that is
// text with an audio extension), a text file and a folder.
TEST(BatchSessionTest, DropAnalysesAdmittedFilesAndReportsProgressInTurn) {
    QTemporaryDir dir;
    const QString loud = writeTone(dir, "loud.wav", 4.0, 0.5);
    const QString quiet = writeTone(dir, "QUIET.WAV", 4.0, 0.05);
    const QString notAudio = fixtures::writeFile(dir.filePath("notes.mp3"), "this is not audio\n");
    fixtures::writeFile(dir.filePath("readme.txt"), {});
    QDir(dir.path()).mkdir("folder");

    BatchSession state(BatchSession::AnalysisOptions{analyzeFile, 2});
    StatusRecorder status(state);
    state.addFiles(urlsOf({loud, dir.filePath("readme.txt"), quiet, dir.filePath("folder"), notAudio}));
    EXPECT_EQ(names(state), (QStringList{"loud.wav", "QUIET.WAV", "notes.mp3"}));
    for (const AudioFileItemPtr& item : state.files())
        EXPECT_TRUE(item->isAnalyzing());
    ASSERT_TRUE(waitForAnalyses(state));

    EXPECT_EQ(status.texts, (QStringList{"0/3", "1/3", "2/3", "3/3", "complete"}));
    const AudioFileItem& l = *state.files()[0];
    const AudioFileItem& q = *state.files()[1];
    const AudioFileItem& bad = *state.files()[2];
    ASSERT_TRUE(l.analysis() && q.analysis());
    EXPECT_EQ(l.correctionDB(), BatchSession::correctionFor(-16.0, l.analysis()->loudest20sLUFS));
    EXPECT_GT(q.correctionDB(), l.correctionDB() + 19.0) << "20 dB quieter";
    EXPECT_FALSE(bad.analysis());
    ASSERT_TRUE(bad.analysisError());
    EXPECT_TRUE(bad.analysisError()->message.contains("notes.mp3")) << bad.analysisError()->message.toStdString();
    EXPECT_EQ(bad.analysisError()->kind, Error::Kind::decode);
    EXPECT_EQ(bad.correctionDB(), 0.0);

    // The same file again adds nothing and leaves the status line alone; the
    // same new URL twice in one drop gives two items.
    const QString third = writeTone(dir, "third.flac.wav", 1.0);
    status.texts.clear();
    state.addFiles(urlsOf({loud, QDir(dir.path()).filePath("./loud.wav")}));
    EXPECT_EQ(state.files().size(), 3u);
    EXPECT_TRUE(status.texts.isEmpty());
    state.addFiles(urlsOf({third, third}));
    EXPECT_EQ(names(state).mid(3), (QStringList{"third.flac.wav", "third.flac.wav"}));
    // Files named on the command line: what is left out is named.
    EXPECT_EQ(BatchSession::describe(state.addPaths({dir.filePath("missing.wav"), dir.filePath("readme.txt"), loud})),
              "missing.wav (not found), readme.txt (not an audio file), loud.wav (already listed)");
    EXPECT_NE(state.files()[3]->id(), state.files()[4]->id());
    ASSERT_TRUE(waitForAnalyses(state));
    EXPECT_EQ(status.texts.last(), "complete");

    // A folder stands for the audio files under it, in path order: hidden
    // ones, other files and a second way into a folder (a link looping back
    // into the tree) left out.
    for (const QString name : {"B/02.wav", "a/01.wav", "a/.hidden.wav", ".git/x.wav", "a/cover.jpg"})
        QDir().mkpath(QFileInfo(dir.filePath("library/" + name)).path()), writeTone(dir, "library/" + name, 0.5);
    QFile::link(dir.filePath("library"), dir.filePath("library/a/loop"));
    state.addPaths({dir.filePath("library")});
    EXPECT_EQ(names(state).mid(5), (QStringList{"01.wav", "02.wav"}));
    state.loadFiles(std::vector(state.files().begin(), state.files().begin() + 5));

    // What is no file shows why on its row at once; a named pipe is not
    // waited on; a folder without audio is named.
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(BatchSession::describe(state.addFiles(urlsOf(fixtures::specialFiles(dir.path())))),
              "folder.wav (no audio files in it)");
    ASSERT_TRUE(waitForAnalyses(state));
    EXPECT_LT(clock.elapsed(), 1000);
    QStringList errors;
    for (size_t i = 5; i < state.files().size(); ++i) {
        const std::optional<Error>& error = state.files()[i]->analysisError();
        errors << (error && error->kind == Error::Kind::notAFile ? error->message : "none");
    }
    EXPECT_EQ(errors, (QStringList{R"(Cannot read "pipe.wav": a named pipe, not a file)",
                                   R"(Cannot read "socket.wav": a socket, not a file)"}));
}

TEST(BatchSessionTest, ManualCorrectionSurvivesTargetChangesAndAnalysisUntilReset) {
    QTemporaryDir dir;
    const QString a = writeTone(dir, "a.wav", 3.0);
    const QString b = writeTone(dir, "b.wav", 3.0);
    GatedAnalyzer gate;
    BatchSession state(gate.options(2));
    state.addFiles(urlsOf({a, b}));
    AudioFileItem& manual = *state.files()[0];
    AudioFileItem& automatic = *state.files()[1];
    manual.setCorrectionDB(4.2);
    manual.setIsManualOverride(true);
    state.resetOverride(automatic); // no analysis yet: correction kept
    EXPECT_EQ(automatic.correctionDB(), 0.0);

    // A target change while analyses run reaches results applied later.
    state.setTargetLUFS(-20.0);
    state.recalcCorrections();
    gate.releaseAll();
    ASSERT_TRUE(waitForAnalyses(state));
    const double peak = automatic.analysis()->loudest20sLUFS;
    EXPECT_EQ(manual.correctionDB(), 4.2);
    EXPECT_EQ(automatic.correctionDB(), BatchSession::correctionFor(-20.0, peak));
    EXPECT_DOUBLE_EQ(*automatic.finalLUFS(), peak + automatic.correctionDB());

    state.setTargetLUFS(-10.0);
    state.recalcCorrections();
    EXPECT_EQ(manual.correctionDB(), 4.2);
    EXPECT_EQ(automatic.correctionDB(), BatchSession::correctionFor(-10.0, peak));
    state.resetOverride(manual);
    EXPECT_FALSE(manual.isManualOverride());
    EXPECT_EQ(manual.correctionDB(), BatchSession::correctionFor(-10.0, manual.analysis()->loudest20sLUFS));
}

TEST(BatchSessionTest, ResultOfARemovedItemIsDroppedAndDropsCountTogether) {
    QTemporaryDir dir;
    const QString a = writeTone(dir, "a.wav", 1.0), b = writeTone(dir, "b.wav", 1.0);
    const QString c = writeTone(dir, "c.wav", 1.0);
    GatedAnalyzer gate;
    BatchSession state(gate.options(4));
    StatusRecorder status(state);
    state.addFiles(urlsOf({a, b}));
    state.addFiles(urlsOf({c})); // a second, independent group
    const AudioFileItemPtr itemB = state.files()[1];

    gate.release(c);
    ASSERT_TRUE(fixtures::waitUntil([&] { return !state.files()[2]->isAnalyzing(); }));
    gate.release(a);
    ASSERT_TRUE(fixtures::waitUntil([&] { return !state.files()[0]->isAnalyzing(); }));
    EXPECT_EQ(status.texts, (QStringList{"0/2", "0/3", "1/3", "2/3"}))
        << "counted with the drop still running, and not complete while it runs";

    // B is removed before its result arrives: the result is dropped quietly,
    // and with nothing left running the analysis is complete.
    int finished = 0;
    QObject::connect(&state, &BatchSession::analysisFinished, [&finished] { ++finished; });
    const std::optional<RemovedFile> removed = state.removeFile(itemB->id());
    gate.release(b);
    ASSERT_TRUE(fixtures::waitUntil([&] { return gate.inFlight() == 0; }));
    fixtures::waitUntil([] { return false; }, 100); // let a wrongly applied result arrive
    EXPECT_EQ(status.texts.mid(4), QStringList{"complete"});
    EXPECT_EQ(finished, 1);
    EXPECT_TRUE(itemB->isAnalyzing());
    EXPECT_FALSE(itemB->analysis());

    // Brought back, it is analysed again rather than left spinning.
    state.restoreRemovedFile(*removed);
    ASSERT_TRUE(waitForAnalyses(state));
    EXPECT_TRUE(itemB->analysis());
    EXPECT_EQ(status.texts.mid(5), (QStringList{"0/1", "1/1", "complete"}));
}

// 40 files on two cores: never more than two analyses at once, and exactly
// 40 progress texts before "complete". Each analysis is held until
// the test releases it, in list order, so the schedule is the same every run.
TEST(BatchSessionTest, AnalysesInFlightNeverExceedTheCoreCount) {
    QTemporaryDir dir;
    const QString tone = writeTone(dir, "tone.wav", 0.5);
    QStringList paths;
    for (int i = 0; i < 40; ++i) {
        paths << dir.filePath(QStringLiteral("copy%1.wav").arg(i));
        ASSERT_TRUE(QFile::link(tone, paths.last()));
    }
    GatedAnalyzer gate;
    BatchSession state(gate.options(2));
    StatusRecorder status(state);
    state.addFiles(urlsOf(paths));
    ASSERT_TRUE(fixtures::waitUntil([&] { return gate.started() == 2; }));
    for (int i = 0; i < 40; ++i) {
        gate.release(paths[i]);
        // The freed worker takes the next file; the other one stays held.
        ASSERT_TRUE(fixtures::waitUntil([&] {
            return gate.started() == std::min(i + 3, 40) && !state.files()[i]->isAnalyzing();
        })) << i;
        ASSERT_LE(gate.inFlight(), 2);
    }
    ASSERT_TRUE(waitForAnalyses(state));

    EXPECT_EQ(gate.started(), 40);
    EXPECT_EQ(gate.maxInFlight(), 2);
    QStringList progress;
    for (int k = 0; k <= 40; ++k)
        progress << QStringLiteral("%1/40").arg(k);
    EXPECT_EQ(status.texts, progress << "complete");
    for (const AudioFileItemPtr& item : state.files())
        EXPECT_TRUE(item->analysis());
}

TEST(BatchSessionTest, DestroyingTheStateWhileAnalysingDropsResultsSafely) {
    QTemporaryDir dir;
    const QString a = writeTone(dir, "a.wav", 1.0), b = writeTone(dir, "b.wav", 1.0);
    GatedAnalyzer gate;
    {
        BatchSession state(gate.options(2));
        state.addFiles(urlsOf({a, b}));
        ASSERT_TRUE(fixtures::waitUntil([&] { return gate.started() == 2; }));
        gate.releaseAll();
    }
    QCoreApplication::processEvents(); // queued results for a dead state are discarded
    EXPECT_EQ(gate.inFlight(), 0);
}

// A tone in the left channel only: its average is 6 dB under its sum. A
// result measured with a mix given up while it ran never reaches the row.
TEST(BatchSessionTest, ChangingTheChannelMixMeasuresEveryFileAgainAndDropsStaleResults) {
    QTemporaryDir dir;
    const QString left = dir.filePath("left.wav");
    fixtures::writeWav(left, {fixtures::sine(997.0, 0.5, 48000, 48000 * 3), fixtures::silence(48000 * 3)}, 48000);
    GatedAnalyzer gate;
    BatchSession state(gate.options(2));
    int finished = 0;
    QObject::connect(&state, &BatchSession::analysisFinished, [&finished] { ++finished; });
    state.addFiles(urlsOf({left}));
    ASSERT_TRUE(fixtures::waitUntil([&] { return gate.started() == 1; }));
    state.setChannelMix(ChannelMix::average);
    gate.releaseAll();
    ASSERT_TRUE(fixtures::waitUntil([&] { return gate.inFlight() == 0 && !state.isAnalyzing(); }));
    fixtures::waitUntil([] { return false; }, 100); // let a wrongly applied result arrive
    const AudioFileItemPtr item = state.files()[0];
    ASSERT_TRUE(item->analysis());
    EXPECT_EQ(gate.started(), 2);
    EXPECT_EQ(finished, 1);
    EXPECT_EQ(item->analysis()->channelMix, ChannelMix::average);
    const double averaged = item->analysis()->loudest20sLUFS;
    EXPECT_NEAR(averaged, 20 * std::log10(0.25) - 3.01, 0.02);

    state.setChannelMix(ChannelMix::sum);
    ASSERT_TRUE(waitForAnalyses(state));
    EXPECT_NEAR(item->analysis()->loudest20sLUFS - averaged, 6.02, 0.01);
    EXPECT_EQ(item->correctionDB(), BatchSession::correctionFor(-16.0, item->analysis()->loudest20sLUFS));
}

// A library larger than one slice: listed on a thread of its own, its files
// join the list in path order a slice at a time while the window runs on.
TEST(BatchSessionTest, ALargeFolderJoinsTheListInSlicesInPathOrder) {
    QTemporaryDir dir;
    const QString song = writeTone(dir, "song.wav", 0.1);
    QStringList expected;
    for (int i = 0; i < 1200; ++i) {
        const QString path = dir.filePath(QStringLiteral("Library/Album %1/%2.wav").arg(11 - i / 100).arg(i % 100));
        QDir().mkpath(QFileInfo(path).path());
        ASSERT_EQ(::link(QFile::encodeName(song).constData(), QFile::encodeName(path).constData()), 0);
        expected << path;
    }
    expected.sort(); // "Album 10" before "Album 2", as a library shows
    QDir(dir.path()).mkdir("empty");
    const QString notes = fixtures::writeFile(dir.filePath("notes.txt"), "x");

    BatchSession state(BatchSession::AnalysisOptions{analyzeFile, 1});
    std::vector<size_t> sizes;
    QObject::connect(&state, &BatchSession::filesChanged, [&] { sizes.push_back(state.files().size()); });
    QString notAdded;
    QObject::connect(&state, &BatchSession::notAdded,
                     [&](const auto& skipped) { notAdded = BatchSession::describe(skipped); });
    StatusRecorder status(state);
    EXPECT_TRUE(state.addPaths({dir.filePath("Library"), dir.filePath("empty"), notes}).empty()) << "told later";
    EXPECT_TRUE(state.isListing() && state.isAnalyzing());
    ASSERT_TRUE(fixtures::waitUntil([&] { return !state.isAnalyzing(); }, 60000));

    QStringList paths;
    for (const AudioFileItemPtr& item : state.files())
        paths << item->path();
    EXPECT_EQ(paths, expected);
    EXPECT_EQ(state.files()[400]->subfolder(), "Library/Album 2");
    ASSERT_GE(sizes.size(), 3u);
    for (size_t i = 0; i < sizes.size(); ++i)
        EXPECT_LE(sizes[i] - (i > 0 ? sizes[i - 1] : 0), BatchSession::listedAtOnce) << i;
    EXPECT_EQ(notAdded, "empty (no audio files in it), notes.txt (not an audio file)");
    EXPECT_EQ(status.texts.indexOf("complete"), status.texts.size() - 1) << "once, when the last file is measured";
    for (const AudioFileItemPtr& item : state.files())
        ASSERT_TRUE(item->analysis()) << item->path().toStdString();

    // A session that goes while it lists stops its walk.
    std::make_unique<BatchSession>()->addPaths({dir.filePath("Library")});
}

TEST(BatchSessionTest, AlbumModeAimsEachAlbumAsAWhole) {
    // Tracks "a" and "b" of album X at -10 and -20 LUFS, and "c" without tags in another folder.
    BatchSession state(BatchSession::AnalysisOptions{[](const QString& path, ChannelMix, std::stop_token) {
                                                         AnalysisResult r = *measuredItem(path, 0, -1, 0)->analysis();
                                                         const QString name = QFileInfo(path).baseName();
                                                         r.loudest20sLUFS = name == "a" ? -10 : -20;
                                                         r.album = name == "c" ? "" : "X";
                                                         return FileAnalysis(r);
                                                     },
                                                     1});
    state.setAlbumMode(true);
    const auto corrections = [&] {
        std::vector<double> c;
        for (const AudioFileItemPtr& item : state.files())
            c.push_back(item->correctionDB());
        return c;
    };
    std::vector<double> atTheEnd;
    QObject::connect(&state, &BatchSession::analysisFinished, [&] { atTheEnd = corrections(); });
    QTemporaryDir dir;
    QDir().mkpath(dir.filePath("X")), QDir().mkpath(dir.filePath("Y"));
    state.addFiles(urlsOf({writeTone(dir, "X/a.wav", 1), writeTone(dir, "X/b.wav", 1), writeTone(dir, "Y/c.wav", 1)}));
    ASSERT_TRUE(fixtures::waitUntil([&] { return !state.isAnalyzing(); }));
    EXPECT_EQ(atTheEnd, (std::vector<double>{-6, -6, 4})) << "the album at its loudest track's figure";
    EXPECT_EQ(state.files()[1]->album()->name, "X");
    EXPECT_EQ(state.files()[2]->album()->name, "Y"); // its folder

    // Taking the loud track out aims the album at what is left; undo brings it back.
    const std::optional<RemovedFile> removed = state.removeFile(state.files()[0]->id());
    EXPECT_EQ(corrections(), (std::vector<double>{4, 4}));
    state.restoreRemovedFile(*removed);
    EXPECT_EQ(corrections(), (std::vector<double>{-6, -6, 4}));
    state.setAlbumMode(false);
    EXPECT_EQ(corrections(), (std::vector<double>{-6, 4, 4}));
    EXPECT_FALSE(state.files()[0]->album());
}
