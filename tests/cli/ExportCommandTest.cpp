#include "cli/ExportCommand.h"

#include "cli/AnalyzeCommand.h"

#include "CommandRun.h"
#include "analysis/LoudnessAnalyzer.h"
#include "io/AudioReader.h"
#include "io/NativePath.h"
#include "session/SettingsFile.h"
#include "support/AudioFixtures.h"
#include "support/QtPrinters.h"
#include "support/ReferencePeaks.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cstdio>

namespace {

CommandRun exportCommand(const QStringList& args) {
    return runCommand([](const QStringList& a, QTextStream& o, QTextStream& e) { return ExportCommand::run(a, o, e); },
                      args);
}

// Four seconds of a 1 kHz tone; `spike` puts one sample of 0.5 in the middle.
QString tone(const QTemporaryDir& dir, const QString& name, double amplitude, bool spike = false) {
    const QString path = dir.filePath(name);
    std::vector<float> samples = fixtures::sine(1000.0, amplitude, 48000, 48000 * 4);
    if (spike)
        samples[samples.size() / 2] = 0.5f;
    fixtures::writeMonoWav(path, samples, 48000);
    return path;
}

} // namespace

TEST(ExportCommandTest, ExportsNormalizedFilesAndReportsClipping) {
    QTemporaryDir dir;
    const QString quiet = tone(dir, "quiet.wav", 0.05), loud = tone(dir, "loud.wav", 0.8);
    const QString out = dir.filePath("out");

    const CommandRun plain = exportCommand({"--out", out, "--format", "FLAC", "--rate", "44100", quiet, loud});
    ASSERT_EQ(plain.status, 0) << plain.err.toStdString();
    const QStringList written = plain.out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(written,
              (QStringList{out + "/normalized/quiet (-16LUFS).flac", out + "/normalized/loud (-16LUFS).flac"}));
    for (const QString& path : written) {
        AudioReader f(path);
        EXPECT_EQ(f.sampleRate(), 44100);
        EXPECT_NEAR(LoudnessAnalyzer::analyze(path).loudest20sLUFS, -16.0, 0.1);
    }
    EXPECT_TRUE(plain.err.contains("Exporting 2 files...\n") && plain.err.contains("2 files written, 0 failed."));
    // One channel at 96 kHz, which a Vorbis bit rate could not take.
    const CommandRun vorbis =
        exportCommand({"--out", dir.filePath("v"), "--format", "vorbis", "--rate", "96000", quiet});
    ASSERT_EQ(vorbis.status, 0) << vorbis.err.toStdString();
    EXPECT_NEAR(std::get<2>(fixtures::referencePeaks(vorbis.out.trimmed())), -16.0, 0.2);

    // Again into the same folder: the earlier outputs stay, each is named,
    // and the exit status says not everything was written.
    const CommandRun again = exportCommand({"--out", out, "--format", "FLAC", "--rate", "44100", quiet, loud});
    EXPECT_EQ(again.status, 1);
    EXPECT_TRUE(again.out.isEmpty());
    EXPECT_TRUE(again.err.contains("quiet.wav: \"quiet (-16LUFS).flac\" already exists; it was left as it is"))
        << again.err.toStdString();
    EXPECT_FALSE(plain.err.contains("will pass"));

    // With --skip-existing only what changed since is exported: the output
    // of the source changed after it is replaced (with --overwrite; without,
    // it stays and is reported), the other is up to date and left alone.
    const QDateTime loudWritten = QFileInfo(written[1]).lastModified();
    QFile touched(quiet);
    ASSERT_TRUE(touched.open(QIODevice::ReadWrite) &&
                touched.setFileTime(QDateTime::currentDateTime().addSecs(10), QFileDevice::FileModificationTime));
    const QStringList skipping{"--out", out, "--format", "FLAC", "--rate", "44100", "--skip-existing", quiet, loud};
    EXPECT_TRUE(exportCommand(skipping).err.contains("0 files written, 1 up to date, 1 failed."));
    const CommandRun newer = exportCommand(QStringList{"--overwrite"} + skipping);
    EXPECT_EQ(newer.status, 0) << newer.err.toStdString();
    EXPECT_EQ(newer.out, written[0] + "\n");
    EXPECT_TRUE(newer.err.contains("up to date: loud (-16LUFS).flac\n") &&
                newer.err.contains("1 file written, 1 up to date, 0 failed."))
        << newer.err.toStdString();
    EXPECT_EQ(QFileInfo(written[1]).lastModified(), loudWritten);

    // At -3 LUFS a quiet tone with one loud click is raised 20 dB past full
    // scale: it is listed and limited.
    const QString clicky = tone(dir, "clicky.wav", 0.05, true);
    const CommandRun hot = exportCommand({"--out", out, "--target=-3", "--ceiling", "-3", clicky});
    ASSERT_EQ(hot.status, 0) << hot.err.toStdString();
    EXPECT_TRUE(hot.err.contains("1 file(s) will pass the -3.0 dBTP ceiling after correction:\n  clicky.wav  "))
        << hot.err.toStdString();
    EXPECT_TRUE(hot.err.contains("Applying the limiter."));
    // The -3 dBTP ceiling keeps it from -3 LUFS: named with what it measures.
    EXPECT_TRUE(hot.err.contains("the limiter's ceiling holds it at")) << hot.err.toStdString();
    EXPECT_TRUE(exportCommand({"--out", out, "--target", "-3", "--no-limiter", clicky})
                    .err.contains("Lowering their gain to the ceiling instead."));

    // A sample that is not a number is exported as the silence it was
    // measured as, and a name that is not UTF-8 keeps its bytes.
    std::vector<float> odd = fixtures::sine(1000.0, 0.1, 48000, 48000);
    odd[100] = std::numeric_limits<float>::quiet_NaN();
    fixtures::writeMonoWav(dir.filePath("odd.wav"), odd, 48000);
    const QString latin1 = dir.path() + NativePath::decode("/odd\xe9.wav");
    ASSERT_EQ(std::rename(QFile::encodeName(dir.filePath("odd.wav")).constData(), NativePath::encode(latin1)), 0);
    const CommandRun cleaning = exportCommand({"--out", out, "--format", "wav32", latin1});
    ASSERT_EQ(cleaning.status, 0) << cleaning.err.toStdString();
    EXPECT_EQ(cleaning.out, out + QString::fromUtf8("/normalized/odd\xef\xbf\xbd (-16LUFS).wav\n"));
    AudioReader cleaned(out + NativePath::decode("/normalized/odd\xe9 (-16LUFS).wav"));
    std::vector<float> samples(odd.size() + 1);
    ASSERT_EQ(cleaned.readInterleaved(samples.data(), static_cast<int64_t>(samples.size())), 48000);
    EXPECT_EQ(samples[100], 0.0f);
    EXPECT_TRUE(std::all_of(samples.begin(), samples.end(), [](float x) { return std::isfinite(x); }));
}

TEST(ExportCommandTest, SettingsUsageAndFailures) {
    QTemporaryDir dir;
    const QString a = tone(dir, "a.wav", 0.1);
    const QStringList special = fixtures::specialFiles(dir.path());
    SettingsData data{-20.0,
                      {{a, -1000.0, true, {}},
                       {a, 1.5, true, {}},
                       {"rel.wav", 0, false, {}},
                       {dir.filePath("gone.wav"), 0, false, {}}},
                      -1.0,
                      std::nullopt};
    for (const QString& path : special)
        data.files.push_back({path, 0, false, {}, {}});
    const QString settings = fixtures::writeFile(dir.filePath("s.json"), SettingsFile::encode(data));
    const CommandRun fromSettings = exportCommand({"--out", dir.filePath("o"), "--settings", settings, a, special[0]});
    ASSERT_EQ(fromSettings.status, 1) << "not every entry was exported: " << fromSettings.err.toStdString();
    // The manual correction is kept, held to the window's -30 dB: the name
    // carries its loudness. Each entry left out is named; `a` is written once.
    const double peak = LoudnessAnalyzer::analyze(a).loudest20sLUFS;
    EXPECT_EQ(fromSettings.out, dir.filePath("o") + QString::asprintf("/normalized/a (%.0fLUFS).wav\n", peak - 30));
    EXPECT_TRUE(fromSettings.err.contains(
        "skipped a.wav (listed twice), rel.wav (not an absolute path), gone.wav (not found), pipe.wav (a named "
        "pipe, not a file), socket.wav (a socket, not a file), folder.wav (a folder, not a file), a.wav (listed "
        "twice), pipe.wav (a named pipe, not a file)\n"))
        << fromSettings.err.toStdString();
    EXPECT_TRUE(fromSettings.err.contains(SettingsFile::noMixNotice)) << "the settings file names no channel mix";

    EXPECT_EQ(exportCommand({"--out", dir.filePath("o"), "--settings", dir.filePath("none.json")}).status, 1);
    EXPECT_EQ(exportCommand({a}).status, 2);
    // Unknown values, the window's range, one limiter choice, and no MP3 above 48 kHz.
    for (const QStringList& bad :
         {QStringList{"--format", "ogg"}, QStringList{"--rate", "22050"}, QStringList{"--target", "loud"},
          QStringList{"--target", "-60"}, QStringList{"--target=-2"}, QStringList{"--limiter", "--no-limiter"},
          QStringList{"--format", "mp3_320", "--rate", "96000"}}) {
        const CommandRun refused = exportCommand(QStringList{"--out", dir.filePath("o"), a} + bad);
        EXPECT_EQ(refused.status, 2) << bad.join(' ').toStdString();
        EXPECT_FALSE(refused.err.contains("Analyzing")) << "refused before any work";
    }
    for (QString mp3 : {"320", "192", "128"})
        EXPECT_TRUE(exportCommand({"--out", dir.filePath("o"), "--format", "mp3_" + mp3, "--rate", "96000", a})
                        .err.contains("MP3 " + mp3 + "k holds at most 48000 Hz"));
    const CommandRun help = exportCommand({"--help"});
    EXPECT_TRUE(help.status == 0 &&
                help.out.contains("mp3_192, mp3_128, flac, vorbis, opus, aac,\n                   same\n"))
        << "each format once";
    EXPECT_TRUE(exportCommand({"--out", dir.filePath("o"), "--format", "opus", "--rate", "44100", a})
                    .err.contains("Opus 160k holds only 48000 Hz; choose --rate 48000"));

    const QString bad = fixtures::writeFile(dir.filePath("bad.wav"), "not audio at all");
    const CommandRun failed = exportCommand({"--out", dir.filePath("p"), a, bad});
    EXPECT_EQ(failed.status, 1);
    EXPECT_TRUE(failed.err.contains("bad.wav: ")) << failed.err.toStdString();
    EXPECT_EQ(fixtures::filesIn(dir.filePath("p/normalized")).size(), 1) << "the others go on";
    EXPECT_TRUE(exportCommand({"--out", dir.filePath("o"), a, dir.filePath("s.json")})
                    .err.contains("skipped s.json (not an audio file)"));
}

// One sample is too short for any loudness block: like silence, it
// measures silent, gets no gain and is named so.
TEST(ExportCommandTest, SilentAndOneSampleFilesAreNamedSilent) {
    QTemporaryDir dir;
    const QString good = tone(dir, "good.wav", 0.1), out = dir.filePath("out");
    fixtures::writeMonoWav(dir.filePath("silent.wav"), fixtures::silence(48000 * 3), 48000);
    fixtures::writeMonoWav(dir.filePath("one.wav"), {0.5f}, 48000);
    const CommandRun run =
        exportCommand({"--out", out, "--format", "flac", dir.filePath("one.wav"), dir.filePath("silent.wav"), good});
    EXPECT_EQ(run.status, 0) << run.err.toStdString();
    EXPECT_EQ(run.out.split('\n', Qt::SkipEmptyParts),
              (QStringList{out + "/normalized/one (silent).flac", out + "/normalized/silent (silent).flac",
                           out + "/normalized/good (-16LUFS).flac"}));
    EXPECT_FALSE(run.err.contains("one.wav  ")) << "a silent file gets no gain, so it cannot clip";
    EXPECT_EQ(fixtures::readFirstChannel(out + "/normalized/silent (silent).flac"), fixtures::silence(48000 * 3));
}

// A folder's outputs mirror its tree: two albums' "01" keep their names.
TEST(ExportCommandTest, AFoldersOutputsMirrorItsTree) {
    QTemporaryDir dir;
    for (const QString album : {"Library/Album A", "Library/Album B"})
        QDir().mkpath(dir.filePath(album)), tone(dir, album + "/01.wav", 0.1);
    const QString out = dir.filePath("out");
    const CommandRun run = exportCommand({"--out", out, dir.filePath("Library"), tone(dir, "01.wav", 0.2)});
    EXPECT_EQ(run.status, 0) << run.err.toStdString();
    EXPECT_EQ(
        run.out.split('\n', Qt::SkipEmptyParts),
        (QStringList{out + "/normalized/Library/Album A/01 (-16LUFS).wav",
                     out + "/normalized/Library/Album B/01 (-16LUFS).wav", out + "/normalized/01 (-16LUFS).wav"}));
}

TEST(ExportCommandTest, SameAsSourceKeepsEachFilesFormat) {
    QTemporaryDir dir;
    const QString sources = dir.filePath("in");
    QDir().mkpath(sources);
    // Each source, its codec's options, and the stream its output must have.
    const std::vector<std::array<QString, 3>> cases{
        {"a.mp3", "-b:a 160k", "codec_name=mp3|sample_rate=48000|bit_rate=160000"},
        {"b.wav", "-c:a pcm_s16le", "codec_name=pcm_s16le|sample_rate=96000"},
        {"c.aiff", "-c:a pcm_s24be", "codec_name=pcm_s24le|sample_rate=96000"},
        {"d.opus", "-c:a libopus", "codec_name=opus|sample_rate=48000"},
        {"e.m4a", "-c:a alac", "codec_name=flac|sample_rate=96000"},
        {"f.ogg", "-c:a libvorbis", "codec_name=vorbis|sample_rate=96000"}};
    for (const auto& [name, options, expected] : cases)
        ASSERT_TRUE(fixtures::runFFmpeg("-f lavfi -i anoisesrc=duration=4:amplitude=0.1 -ac 2 " + options,
                                        QDir(sources).filePath(name)));
    const CommandRun run = exportCommand({"--out", dir.path(), "--format", "same", "--rate", "96000", sources});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QStringList written = run.out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(written.size(), qsizetype(cases.size()));
    for (qsizetype i = 0; i < written.size(); ++i) {
        const QString extension = QStringList{"mp3", "wav", "wav", "opus", "flac", "ogg"}[i];
        EXPECT_TRUE(written[i].endsWith(" (-16LUFS)." + extension)) << written[i].toStdString();
        const QString stream = fixtures::probed(written[i], "stream=codec_name,sample_rate,bit_rate");
        EXPECT_TRUE(stream.startsWith(cases[size_t(i)][2])) << stream.toStdString(); // the MP3's bit rate too
        EXPECT_NEAR(std::get<2>(fixtures::referencePeaks(written[i])), -16.0, 0.2) << written[i].toStdString();
    }
}

TEST(ExportCommandTest, AlbumModeGivesEachAlbumOneGainAndKeepsItsBalance) {
    QTemporaryDir dir;
    const QString lib = dir.filePath("Library");
    // Two tracks tagged as one album, and a track of the same name in a folder without tags.
    const std::vector<std::pair<QString, QString>> tracks{{"Album A/01.flac", "volume=6dB -metadata album=A"},
                                                          {"Album A/02.flac", "volume=-6dB -metadata album=A"},
                                                          {"Loose/01.flac", "volume=-3dB"}};
    QStringList paths;
    for (const auto& [name, options] : tracks) {
        QDir().mkpath(QFileInfo(QDir(lib).filePath(name)).absolutePath());
        ASSERT_TRUE(fixtures::runFFmpeg("-f lavfi -i sine=frequency=997:duration=6 -af " + options,
                                        paths.emplace_back(QDir(lib).filePath(name))));
    }
    const auto analyzed = [&](const QStringList& options) {
        const CommandRun run = runCommand(
            [](const QStringList& a, QTextStream& o, QTextStream& e) { return AnalyzeCommand::run(a, o, e); },
            QStringList{"--album", "--json"} + options + QStringList{lib});
        EXPECT_EQ(run.status, 0) << run.err.toStdString();
        return QJsonDocument::fromJson(run.out.toUtf8()).array();
    };
    const QJsonArray loudest = analyzed({}), integrated = analyzed({"--normalize-by", "integrated"});
    ASSERT_EQ(loudest.size(), 3);
    EXPECT_EQ(loudest[0]["album"].toString(), "A");
    EXPECT_EQ(loudest[2]["album"].toString(), "Loose");
    EXPECT_DOUBLE_EQ(loudest[1]["albumLUFS"].toDouble(), loudest[0]["peakLUFS"].toDouble()); // the loudest track's
    EXPECT_DOUBLE_EQ(loudest[1]["correctionDB"].toDouble(), loudest[0]["correctionDB"].toDouble());
    EXPECT_NEAR(loudest[2]["finalLUFS"].toDouble(), -16.0, 0.05);
    EXPECT_NEAR(integrated[0]["albumLUFS"].toDouble(), fixtures::referenceIntegratedOfAll(paths.mid(0, 2)), 0.1);

    // Without the limiter, the album whose loud track would pass the ceiling
    // is lowered as a whole: its tracks stay 12 dB apart.
    const QString out = dir.filePath("out");
    const CommandRun run =
        exportCommand({"--album", "--no-limiter", "--target", "-3", "--format", "flac", "--out", out, lib});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QStringList written = run.out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(written.size(), 3);
    EXPECT_TRUE(written[0].startsWith(out + "/normalized/Library/Album A/01 (") &&
                written[2].startsWith(out + "/normalized/Library/Loose/01 ("));
    const auto [peak, sample, first] = fixtures::referencePeaks(written[0]);
    EXPECT_NEAR(peak, -1.0, 0.15);
    EXPECT_NEAR(first - std::get<2>(fixtures::referencePeaks(written[1])), 12.0, 0.1);
}
