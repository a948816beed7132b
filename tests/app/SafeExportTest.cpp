#include "ExportCommand.h"

#include "CommandRun.h"
#include "SonivelProcess.h"
#include "analysis/SoundFile.h"
#include "support/AudioFixtures.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

QString stereoTone(const QTemporaryDir& dir, const QString& name, double seconds) {
    const QString path = dir.filePath(name);
    const auto n = static_cast<int64_t>(seconds * 48000);
    fixtures::writeWav(path, {fixtures::sine(440, 0.1, 48000, n), fixtures::sine(660, 0.1, 48000, n)}, 48000);
    return path;
}

// Seconds of audio in a file as ffmpeg decodes it; -1 when it reports any error.
double decodedSeconds(const QString& path) {
    QTemporaryDir scratch;
    QProcess ffmpeg;
    ffmpeg.start("ffmpeg", {"-nostdin", "-v", "error", "-i", path, "-f", "wav", scratch.filePath("d.wav")});
    if (!ffmpeg.waitForFinished(120000) || ffmpeg.exitCode() != 0 || !ffmpeg.readAllStandardError().isEmpty())
        return -1;
    SoundFile decoded(scratch.filePath("d.wav"));
    return decoded.isOpen() ? static_cast<double>(decoded.frames()) / static_cast<double>(decoded.sampleRate()) : -1;
}

// Live processes whose command line mentions `marker` (an encoder at work on it).
int processesMentioning(const QString& marker) {
    int count = 0;
    for (const QString& pid : QDir("/proc").entryList(QDir::Dirs)) {
        QFile cmdline("/proc/" + pid + "/cmdline");
        if (pid.toInt() > 0 && cmdline.open(QIODevice::ReadOnly) &&
            cmdline.readAll().replace('\0', ' ').contains(marker.toUtf8()))
            ++count;
    }
    return count;
}

// Waits until a temporary file that was not there before appears in `folder`.
bool waitForNewTemporary(const QString& folder, const QStringList& before) {
    return fixtures::waitUntil([&] {
        const QStringList now = fixtures::temporaryFilesIn(folder);
        return std::any_of(now.begin(), now.end(), [&](const QString& n) { return !before.contains(n); });
    });
}

// Every file under a final name in `folder` decodes whole.
void expectOnlyWholeFiles(const QString& folder, double seconds) {
    for (const QString& name : fixtures::filesIn(folder)) {
        if (!fixtures::temporaryFilesIn(folder).contains(name)) {
            EXPECT_NEAR(decodedSeconds(QDir(folder).filePath(name)), seconds, 0.1) << name.toStdString();
        }
    }
}

} // namespace

TEST(SafeExportTest, NeverWritesThroughAnExistingName) {
    QTemporaryDir dir;
    const QString source = stereoTone(dir, "Song.wav", 3.0), other = stereoTone(dir, "Other.wav", 3.0);
    const QString unlisted = dir.filePath("unlisted.txt");
    QFile u(unlisted);
    ASSERT_TRUE(u.open(QIODevice::WriteOnly) && u.write("precious") == 8);
    u.close();
    const QString dest = dir.filePath("out/normalized");
    QDir().mkpath(dest);
    const auto sums = fixtures::sha256Of({source, other, unlisted});
    const auto exportTo = [&](const QStringList& files) {
        return runCommand([](const QStringList& a, QTextStream& o, QTextStream& e) { return ExportCommand::run(a, o, e); },
                          QStringList{"--out", dir.filePath("out")} + files);
    };

    // An output name that is a hard link to a source, or a symbolic link to
    // one: refused before anything is written.
    const QString songOut = dest + "/Song (-16LUFS).wav";
    ASSERT_EQ(::link(QFile::encodeName(source).constData(), QFile::encodeName(songOut).constData()), 0);
    const CommandRun hardLink = exportTo({source});
    EXPECT_EQ(hardLink.status, 1);
    EXPECT_TRUE(hardLink.err.contains("\"Song (-16LUFS).wav\" in " + dest + " is a source file")) << hardLink.err.toStdString();
    QFile::remove(songOut);
    ASSERT_TRUE(QFile::link(source, songOut));
    EXPECT_EQ(exportTo({source}).status, 1);
    EXPECT_TRUE(QFileInfo(songOut).isSymLink());
    QFile::remove(songOut);

    // A symbolic link to an unlisted file is replaced itself; the file it
    // pointed to is left alone.
    const QString otherOut = dest + "/Other (-16LUFS).wav";
    ASSERT_TRUE(QFile::link(unlisted, otherOut));
    const CommandRun throughLink = exportTo({other});
    ASSERT_EQ(throughLink.status, 0) << throughLink.err.toStdString();
    EXPECT_FALSE(QFileInfo(otherOut).isSymLink());
    EXPECT_NEAR(decodedSeconds(otherOut), 3.0, 0.01);
    EXPECT_EQ(fixtures::sha256Of({source, other, unlisted}), sums);
    EXPECT_TRUE(fixtures::temporaryFilesIn(dest).isEmpty());
}

TEST(SafeExportTest, KilledOrInterruptedExportsLeaveOnlyWholeFiles) {
    QTemporaryDir dir;
    const QString tmp = dir.filePath("tmp"), out = dir.filePath("out"), dest = out + "/normalized";
    QDir().mkpath(tmp);
    const QString a = stereoTone(dir, "a.wav", 40.0), b = stereoTone(dir, "b.wav", 40.0);
    const auto sums = fixtures::sha256Of({a, b});
    const QStringList args{"export", "--format", "mp3_320", "--out", out, a, b};
    const auto encoderGone = [&] { return fixtures::waitUntil([&] { return processesMentioning(dest) == 0; }); };

    // SIGKILL while analysing, while encoding the first file, while encoding
    // the second: what is under a final name is whole, and the encoder dies too.
    for (int point = 0; point < 3; ++point) {
        const QStringList before = fixtures::temporaryFilesIn(dest);
        SonivelProcess run(args, tmp);
        ASSERT_TRUE(run.started());
        if (point == 0)
            ::usleep(100000);
        else
            ASSERT_TRUE(waitForNewTemporary(dest, before));
        if (point == 2) {
            QFile::remove(dest + "/a (-16LUFS).mp3");
            ASSERT_TRUE(fixtures::waitUntil([&] { return QFileInfo::exists(dest + "/a (-16LUFS).mp3"); }));
            ASSERT_TRUE(waitForNewTemporary(dest, fixtures::temporaryFilesIn(dest)));
        }
        run.signal(SIGKILL);
        run.wait();
        EXPECT_TRUE(encoderGone()) << point;
        expectOnlyWholeFiles(dest, 40.0);
    }

    // SIGTERM and SIGINT: the program removes its temporary file, stops the
    // encoder and dies by that signal; those of the killed runs went at its start.
    for (int s : {SIGTERM, SIGINT}) {
        const QStringList before = fixtures::temporaryFilesIn(dest);
        SonivelProcess run(args, tmp);
        ASSERT_TRUE(waitForNewTemporary(dest, before));
        run.signal(s);
        const int status = run.wait();
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == s) << status;
        EXPECT_TRUE(fixtures::temporaryFilesIn(dest).isEmpty()) << s;
        EXPECT_TRUE(encoderGone()) << s;
    }

    // The next run clears what the killed ones left and completes.
    SonivelProcess last(args, tmp);
    const int status = last.wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(fixtures::filesIn(dest), (QStringList{"a (-16LUFS).mp3", "b (-16LUFS).mp3"}));
    expectOnlyWholeFiles(dest, 40.0);
    EXPECT_TRUE(fixtures::filesIn(tmp).isEmpty());
    EXPECT_EQ(fixtures::sha256Of({a, b}), sums);
}

TEST(SafeExportTest, TwoExportsOfOneNameEndWithOneWholeFile) {
    QTemporaryDir dir;
    const QString tmp = dir.filePath("tmp"), out = dir.filePath("out"), dest = out + "/normalized";
    QDir().mkpath(tmp);
    const QString song = stereoTone(dir, "song.wav", 30.0);
    const auto sums = fixtures::sha256Of({song});

    // The second starts while the first encodes: its clean-up must leave the
    // first one's file alone, and whichever renames last wins whole.
    SonivelProcess first({"export", "--format", "mp3_320", "--out", out, song}, tmp);
    ASSERT_TRUE(waitForNewTemporary(dest, {}));
    SonivelProcess second({"export", "--format", "mp3_128", "--out", out, song}, tmp);
    EXPECT_EQ(first.wait(), 0);
    EXPECT_EQ(second.wait(), 0);
    EXPECT_EQ(fixtures::filesIn(dest), QStringList{"song (-16LUFS).mp3"});
    EXPECT_NEAR(decodedSeconds(dest + "/song (-16LUFS).mp3"), 30.0, 0.1);
    EXPECT_EQ(fixtures::sha256Of({song}), sums);
}

TEST(SafeExportTest, InterruptedAnalysisRemovesTheDecodersFile) {
    QTemporaryDir dir;
    const QString tmp = dir.filePath("tmp"), m4a = dir.filePath("long.m4a");
    QDir().mkpath(tmp);
    ASSERT_TRUE(fixtures::runFFmpeg({"-f", "lavfi", "-i", "sine=f=440:d=120", "-c:a", "aac", "-b:a", "48k", m4a}));
    const auto sums = fixtures::sha256Of({m4a});

    SonivelProcess run({"analyze", m4a}, tmp);
    ASSERT_TRUE(waitForNewTemporary(tmp, {}));
    run.signal(SIGINT);
    const int status = run.wait();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
    EXPECT_TRUE(fixtures::filesIn(tmp).isEmpty());
    EXPECT_TRUE(fixtures::waitUntil([&] { return processesMentioning(m4a) == 0; }));
    EXPECT_EQ(fixtures::sha256Of({m4a}), sums);
}
