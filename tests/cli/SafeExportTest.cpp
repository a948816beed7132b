#include "cli/ExportCommand.h"

#include "CommandRun.h"
#include "io/AudioReader.h"
#include "io/FFmpegLocator.h"
#include "support/AudioFixtures.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"

#include <QProcess>
#include <QtEndian>
#include <csignal>
#include <memory>
#include <unistd.h>

namespace {

// The program itself, started as from a shell: its own temporary folder,
// SIGINT at its default even where the tests run with it ignored.
std::unique_ptr<QProcess> startSonivel(const QStringList& args, const QString& temporaryFolder,
                                       const QString& searchFirst = {}) {
    auto process = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("TMPDIR", temporaryFolder);
    if (!searchFirst.isEmpty())
        environment.insert("PATH", searchFirst + ":" + environment.value("PATH"));
    process->setProcessEnvironment(environment);
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    process->setChildProcessModifier([] { ::signal(SIGINT, SIG_DFL); });
    process->start(SONIVEL_BINARY, args);
    process->waitForStarted();
    return process;
}

// Waits for the end: the exit status, or the number of the signal that ended it (negated).
int outcomeOf(QProcess& process) {
    process.waitForFinished(120000);
    return process.exitStatus() == QProcess::CrashExit ? -process.exitCode() : process.exitCode();
}

// Seconds of audio in a file as ffmpeg decodes it; -1 when it reports any error.
double decodedSeconds(const QString& path) {
    QTemporaryDir scratch;
    QProcess ffmpeg;
    ffmpeg.start("ffmpeg", {"-nostdin", "-v", "error", "-i", path, "-f", "wav", scratch.filePath("d.wav")});
    if (!ffmpeg.waitForFinished(120000) || ffmpeg.exitCode() != 0 || !ffmpeg.readAllStandardError().isEmpty())
        return -1;
    const AudioReader decoded(scratch.filePath("d.wav"));
    return static_cast<double>(decoded.frames()) / static_cast<double>(decoded.sampleRate());
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
    for (const QString& name : fixtures::filesIn(folder))
        if (!fixtures::temporaryFilesIn(folder).contains(name)) {
            EXPECT_NEAR(decodedSeconds(QDir(folder).filePath(name)), seconds, 0.1) << name.toStdString();
        }
}

} // namespace

TEST(SafeExportTest, NeverWritesThroughAnExistingName) {
    QTemporaryDir dir;
    const QString source = fixtures::writeTone(dir, "Song.wav", 3.0, 0.1, 2), unlisted = dir.filePath("unlisted.wav");
    QFile::copy(source, unlisted);
    const QString dest = dir.filePath("out/normalized"), output = dest + "/Song (-16LUFS).wav";
    QDir().mkpath(dest);
    const auto sums = fixtures::sha256Of({source, unlisted});
    const auto exportSong = [&] {
        return runCommand(
            [](const QStringList& a, QTextStream& o, QTextStream& e) { return ExportCommand::run(a, o, e); },
            {"--out", dir.filePath("out"), "--overwrite", source});
    };

    // The output name is a hard link or a symbolic link to the source: even
    // with --overwrite the output takes another name and the source stays.
    ASSERT_EQ(::link(QFile::encodeName(source).constData(), QFile::encodeName(output).constData()), 0);
    const CommandRun hardLink = exportSong();
    EXPECT_EQ(hardLink.status, 0) << hardLink.err.toStdString();
    EXPECT_EQ(hardLink.out, dest + "/Song (2) (-16LUFS).wav\n");
    QFile::remove(output);
    QFile::remove(dest + "/Song (2) (-16LUFS).wav");
    ASSERT_TRUE(QFile::link(source, output));
    EXPECT_EQ(exportSong().status, 0);
    EXPECT_TRUE(QFileInfo(output).isSymLink());
    QFile::remove(dest + "/Song (2) (-16LUFS).wav");

    // A symbolic link to an unlisted file is replaced itself; that file stays.
    QFile::remove(output);
    ASSERT_TRUE(QFile::link(unlisted, output));
    ASSERT_EQ(exportSong().status, 0);
    EXPECT_FALSE(QFileInfo(output).isSymLink());
    EXPECT_NEAR(decodedSeconds(output), 3.0, 0.01);
    EXPECT_EQ(fixtures::sha256Of({source, unlisted}), sums);
    EXPECT_TRUE(fixtures::temporaryFilesIn(dest).isEmpty());
}

TEST(SafeExportTest, KilledOrInterruptedExportsLeaveOnlyWholeFiles) {
    QTemporaryDir dir;
    const QString tmp = dir.filePath("tmp"), out = dir.filePath("out"), dest = out + "/normalized";
    QDir().mkpath(tmp);
    const QString a = fixtures::writeTone(dir, "a.wav", 40.0, 0.1, 2),
                  b = fixtures::writeTone(dir, "b.wav", 40.0, 0.1, 2);
    const auto sums = fixtures::sha256Of({a, b});
    const QStringList args{"export", "--format", "mp3_320", "--out", out, a, b};
    const auto encoderGone = [&] { return fixtures::waitUntil([&] { return processesMentioning(dir.path()) == 0; }); };

    // SIGKILL while analysing and while encoding: what is under a final name
    // is whole, and the encoders die too.
    for (int point = 0; point < 2; ++point) {
        const QStringList before = fixtures::temporaryFilesIn(dest);
        const auto run = startSonivel(args, tmp);
        if (point == 0)
            ::usleep(100000);
        else
            ASSERT_TRUE(waitForNewTemporary(dest, before));
        ::kill(static_cast<pid_t>(run->processId()), SIGKILL);
        run->waitForFinished();
        EXPECT_TRUE(encoderGone()) << point;
        expectOnlyWholeFiles(dest, 40.0);
    }

    // SIGTERM and SIGINT cancel: the jobs stop and remove their files, and
    // the program ends with the shell's status for that signal; what the
    // killed runs left went at its start.
    for (int s : {SIGTERM, SIGINT}) {
        const QStringList before = fixtures::temporaryFilesIn(dest);
        const auto run = startSonivel(args, tmp);
        ASSERT_TRUE(waitForNewTemporary(dest, before));
        ::kill(static_cast<pid_t>(run->processId()), s);
        ASSERT_TRUE(run->waitForFinished(10000)) << "a cancelled export ends soon";
        EXPECT_EQ(outcomeOf(*run), 128 + s);
        EXPECT_TRUE(fixtures::temporaryFilesIn(dest).isEmpty()) << s;
        EXPECT_TRUE(fixtures::filesIn(tmp).isEmpty()) << s;
        expectOnlyWholeFiles(dest, 40.0);
    }

    // The next run clears what the killed ones left and completes.
    EXPECT_EQ(outcomeOf(*startSonivel(args, tmp)), 0);
    EXPECT_EQ(fixtures::filesIn(dest), (QStringList{"a (-16LUFS).mp3", "b (-16LUFS).mp3"}));
    expectOnlyWholeFiles(dest, 40.0);
    EXPECT_TRUE(fixtures::filesIn(tmp).isEmpty());
    EXPECT_EQ(fixtures::sha256Of({a, b}), sums);
}

TEST(SafeExportTest, TwoExportsOfOneNameEndWithOneWholeFile) {
    QTemporaryDir dir;
    const QString tmp = dir.filePath("tmp"), out = dir.filePath("out"), dest = out + "/normalized";
    QDir().mkpath(tmp);
    const QString song = fixtures::writeTone(dir, "song.wav", 30.0, 0.1, 2);
    const auto sums = fixtures::sha256Of({song});

    // The second starts while the first encodes: its clean-up must leave the
    // first one's file alone, and whichever renames last wins whole.
    const auto first = startSonivel({"export", "--format", "mp3_320", "--overwrite", "--out", out, song}, tmp);
    ASSERT_TRUE(waitForNewTemporary(dest, {}));
    const auto second = startSonivel({"export", "--format", "mp3_128", "--overwrite", "--out", out, song}, tmp);
    EXPECT_EQ(outcomeOf(*first), 0);
    EXPECT_EQ(outcomeOf(*second), 0);
    EXPECT_EQ(fixtures::filesIn(dest), QStringList{"song (-16LUFS).mp3"});
    EXPECT_NEAR(decodedSeconds(dest + "/song (-16LUFS).mp3"), 30.0, 0.1);
    EXPECT_EQ(fixtures::sha256Of({song}), sums);
}

TEST(SafeExportTest, InterruptedAnalysisRemovesTheDecodersFile) {
    // A file the reader refuses goes to the ffmpeg program: here one that
    // takes two minutes for it, its command line naming the file.
    QTemporaryDir dir;
    const QString tmp = dir.filePath("tmp"), odd = dir.filePath("odd.wma");
    QDir().mkpath(tmp);
    fixtures::writeFile(odd, "not a format the reader knows\n");
    fixtures::writeScript(dir.path(), "ffmpeg",
                          "exec '" + FFmpegLocator::find() +
                              "' -nostdin -v error -re -f lavfi -i sine=d=120 -metadata \"comment=$*\" "
                              "-f wav -acodec pcm_f32le -");
    const auto sums = fixtures::sha256Of({odd});

    // Killed by SIGINT, or cancelled by SIGTERM without waiting for the decode.
    for (const QStringList& command : {QStringList{"analyze"}, QStringList{"export", "--out", dir.filePath("out")}}) {
        const bool analyze = command.size() == 1;
        const auto run = startSonivel(command + QStringList{odd}, tmp, dir.path());
        ASSERT_TRUE(waitForNewTemporary(tmp, {}));
        ::kill(static_cast<pid_t>(run->processId()), analyze ? SIGINT : SIGTERM);
        ASSERT_TRUE(run->waitForFinished(5000)) << analyze;
        EXPECT_EQ(outcomeOf(*run), analyze ? -SIGINT : 128 + SIGTERM);
        EXPECT_TRUE(fixtures::filesIn(tmp).isEmpty());
        EXPECT_TRUE(fixtures::waitUntil([&] { return processesMentioning(odd) == 0; }));
    }
    EXPECT_EQ(fixtures::sha256Of({odd}), sums);

    // Read in process, six hours of a sparse WAV stop at the next chunk.
    QFile hours(dir.filePath("hours.wav"));
    const quint32 bytes = 6u * 3600u * 48000u * 4u;
    QByteArray header("RIFF----WAVEfmt \x10\0\0\0\1\0\2\0\x80\xbb\0\0\0\xee\2\0\4\0\x10\0data----", 44);
    qToLittleEndian(bytes + 36, header.data() + 4);
    qToLittleEndian(bytes, header.data() + 40);
    ASSERT_TRUE(hours.open(QIODevice::WriteOnly) && hours.write(header) == 44 && hours.resize(44 + bytes));
    const auto run = startSonivel({"export", "--out", dir.filePath("out"), hours.fileName()}, tmp);
    ASSERT_TRUE(fixtures::waitUntil([&] {
        const QDir fds(QStringLiteral("/proc/%1/fd").arg(run->processId()));
        const QFileInfoList links = fds.entryInfoList(QDir::Files);
        return std::any_of(links.begin(), links.end(), [&](auto& l) { return l.symLinkTarget() == hours.fileName(); });
    }));
    ::kill(static_cast<pid_t>(run->processId()), SIGTERM);
    EXPECT_TRUE(run->waitForFinished(1500));
    EXPECT_EQ(outcomeOf(*run), 128 + SIGTERM);
}
