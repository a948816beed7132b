#include "cli/TagCommand.h"

#include "CommandRun.h"
#include "analysis/AnalysisCache.h"
#include "io/TagRewrite.h"
#include "support/AudioFixtures.h"
#include "support/QtPrinters.h"
#include "support/ReferencePeaks.h"

#include <QProcess>
#include <QRegularExpression>
#include <sys/stat.h>

namespace {

CommandRun tag(const QStringList& args) {
    return runCommand([](const QStringList& a, QTextStream& o, QTextStream& e) { return TagCommand::run(a, o, e); },
                      args);
}

// The file's tags as ffprobe reads them, names in upper case.
QMap<QString, QString> probedTags(const QString& path) {
    QMap<QString, QString> tags;
    for (const QString& line :
         fixtures::programOutput("ffprobe", {"-show_entries", "format_tags:stream_tags", "-of", "flat", path})
             .split('\n', Qt::SkipEmptyParts))
        tags[line.section('=', 0, 0).section('.', -1).toUpper()] = line.section('=', 1).remove('"');
    return tags;
}

// The checksums of the decoded audio and of the audio stream's packets.
QString audioChecksums(const QString& path) {
    return fixtures::programOutput("ffmpeg", {"-i", path, "-map", "0:a", "-f", "md5", "-"}) +
           fixtures::programOutput("ffmpeg", {"-i", path, "-map", "0:a", "-c", "copy", "-f", "md5", "-"});
}

// Six seconds of noise `db` under full scale (meters agree on true peaks
// only below the highest frequencies), stereo, with album tags when given.
QString source(const QString& path, double db, const QString& album = {}, const QString& codec = {}) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QStringList args{"-f",  "lavfi", "-i",  "anoisesrc=duration=6:amplitude=1:seed=7",
                     "-ac", "2",     "-af", QStringLiteral("lowpass=f=12000,volume=%1dB").arg(db)};
    if (!album.isEmpty())
        args << "-metadata"
             << "album=" + album << "-metadata"
             << "album_artist=Y";
    if (!codec.isEmpty())
        args << "-c:a" << codec;
    EXPECT_TRUE(fixtures::runFFmpeg(args << "-y" << path)) << path.toStdString();
    return path;
}

double gainIn(const QString& text) { return text.section(' ', 0, 0).toDouble(); }

} // namespace

TEST(TagCommandTest, TagsAgreeWithTheReferenceMeterPerAlbumAndLeaveTheAudioAsItWas) {
    QTemporaryDir dir;
    const QString lib = dir.filePath("lib");
    const QString one = source(lib + "/One/01.flac", -14, "One");
    // "Two" holds colliding names, a track far below the rest, and a file without album tags.
    const QStringList two{source(lib + "/Two/01.flac", -12, "Two"), source(lib + "/Two/02.mp3", -22, "Two"),
                          source(lib + "/Two/03.ogg", -45, "Two", "libvorbis"),
                          source(lib + "/Two/04.opus", -18, "Two", "libopus")};
    const QString loose = source(lib + "/Two/05.m4a", -20);
    source(lib + "/Two/06.wav", -20);
    QMap<QString, QString> before;
    for (const QString& f : two + QStringList{one, loose})
        before[f] = audioChecksums(f);

    const CommandRun run = tag({"--album", lib});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    for (const char* line :
         {"album \"Y – One\": 1 track", "album \"Y – Two\": 4 tracks", "album \"Two\": 1 track",
          "passed over: lib/Two/06.wav", "6 files tagged, 0 already tagged, 1 passed over, 0 failed."})
        EXPECT_TRUE(run.out.contains(line)) << line << '\n' << run.out.toStdString();

    const double albumTwo = fixtures::referenceIntegratedOfAll(two);
    for (const QString& f : two + QStringList{one, loose}) {
        SCOPED_TRACE(f.toStdString());
        EXPECT_EQ(audioChecksums(f), before[f]);
        const auto [truePeak, samplePeak, integrated] = fixtures::referencePeaks(f);
        const QMap<QString, QString> tags = probedTags(f);
        const double album = two.contains(f) ? albumTwo : integrated;
        if (f.endsWith(".opus")) {
            EXPECT_NEAR(tags["R128_TRACK_GAIN"].toDouble(), 256 * (-23 - integrated), 0.1 * 256);
            EXPECT_NEAR(tags["R128_ALBUM_GAIN"].toDouble(), 256 * (-23 - album), 0.1 * 256);
            EXPECT_FALSE(tags.contains("REPLAYGAIN_TRACK_GAIN"));
            continue;
        }
        EXPECT_NEAR(gainIn(tags["REPLAYGAIN_TRACK_GAIN"]), -18 - integrated, 0.1);
        EXPECT_NEAR(gainIn(tags["REPLAYGAIN_ALBUM_GAIN"]), -18 - album, 0.1);
        EXPECT_NEAR(20 * std::log10(tags["REPLAYGAIN_TRACK_PEAK"].toDouble()), truePeak, 0.1);
    }
    // A player that honours the tags lands on the reference.
    for (const char* mode : {"track", "album"}) {
        const QString played = dir.filePath(QStringLiteral("%1.wav").arg(mode));
        ASSERT_TRUE(fixtures::runFFmpeg({"-i", one, "-af", QStringLiteral("volume=replaygain=%1").arg(mode), played}));
        EXPECT_NEAR(std::get<2>(fixtures::referencePeaks(played)), -18.0, 0.1) << mode;
    }

    // Tagged again with the same figures, nothing is written; a dry run of the
    // removal changes nothing, the removal takes every loudness tag off.
    const QMap<QString, QByteArray> tagged = fixtures::sha256Of(two);
    const CommandRun again = tag({"--album", "--skip-existing", lib + "/Two"});
    EXPECT_TRUE(again.out.contains("0 files tagged, 5 already tagged, 1 passed over, 0 failed."))
        << again.out.toStdString();
    const CommandRun dry = tag({"--remove", "--dry-run", lib + "/Two"});
    EXPECT_TRUE(dry.out.contains("would remove: Two/02.mp3  REPLAYGAIN_")) << dry.out.toStdString();
    EXPECT_EQ(fixtures::sha256Of(two), tagged);
    ASSERT_EQ(tag({"--remove", lib}).status, 0);
    for (const QString& f : two + QStringList{one, loose}) {
        EXPECT_FALSE(probedTags(f).keys().join(' ').contains(QRegularExpression("REPLAYGAIN|R128"))) << f.toStdString();
        EXPECT_EQ(probedTags(f)["ALBUM"], f == loose ? "" : f == one ? "One" : "Two") << f.toStdString();
    }
}

TEST(TagCommandTest, KeepsLinksPermissionsTimesAndMeasurementsAndUndoesAnInterruptedTagging) {
    QTemporaryDir dir;
    const QString linked = source(dir.filePath("linked.flac"), -20), link = dir.filePath("link.flac");
    const QString plain = source(dir.filePath("plain.mp3"), -20);
    ASSERT_EQ(::link(linked.toUtf8(), link.toUtf8()), 0);
    ::chmod(plain.toUtf8(), 0640);
    const auto statOf = [](const QString& f) {
        struct stat st {};
        ::stat(f.toUtf8(), &st);
        return st;
    };
    const struct stat linkedBefore = statOf(linked), plainBefore = statOf(plain);
    const QString audio = audioChecksums(plain);
    ASSERT_EQ(tag({plain}).status, 0);
    ASSERT_EQ(tag({"--keep-time", link}).status, 0);
    const struct stat linkedAfter = statOf(linked), plainAfter = statOf(plain);
    EXPECT_EQ(linkedAfter.st_ino, linkedBefore.st_ino);
    EXPECT_EQ(linkedAfter.st_nlink, 2u);
    EXPECT_TRUE(probedTags(link).contains("REPLAYGAIN_TRACK_GAIN"));
    EXPECT_EQ(linkedAfter.st_mtim.tv_nsec, linkedBefore.st_mtim.tv_nsec) << "kept as asked";
    EXPECT_EQ(plainAfter.st_mode & 07777, 0640u);
    EXPECT_NE(plainAfter.st_mtim.tv_nsec, plainBefore.st_mtim.tv_nsec);
    // The measurement kept for the untagged file stands for the tagged one.
    EXPECT_TRUE(AnalysisCache(AnalysisCache::defaultFile()).find(plain, ChannelMix::sum));

    // A tagging cut short in the middle of an in-place write left a whole copy.
    QFile::copy(plain, TagRewrite::keptCopyOf(plain));
    fixtures::writeFile(plain, fixtures::readFile(plain).left(1000));
    const CommandRun resumed = tag({plain});
    EXPECT_EQ(resumed.status, 0) << resumed.err.toStdString();
    EXPECT_TRUE(resumed.err.contains("put back as it was before an interrupted tagging"));
    EXPECT_EQ(audioChecksums(plain), audio);
    EXPECT_EQ(fixtures::filesIn(dir.path()), (QStringList{"link.flac", "linked.flac", "plain.mp3"}));
}
