#include "io/TemporaryFile.h"
#include "io/FileIdentity.h"
#include "support/AudioFixtures.h"
#include "support/QtPrinters.h"

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using fixtures::readFile, fixtures::writeFile;

// Replacing a hard link or a symbolic link without writing through it is
// checked on the real export; here, the ways a commit can fail.
TEST(TemporaryFileTest, CommitFailuresAndWholeContents) {
    QTemporaryDir dir;
    const QString unlisted = dir.filePath("unlisted.txt"), link = dir.filePath("settings.json");
    writeFile(unlisted, "precious");
    ASSERT_TRUE(QFile::link(unlisted, link));
    EXPECT_TRUE(isSameFile(link, unlisted));
    EXPECT_FALSE(isSameFile(dir.filePath("missing"), dir.filePath("missing")));

    // A name that cannot be replaced (a folder is there), or a temporary name
    // that something else took over meanwhile: an error, and no file left.
    QDir(dir.path()).mkdir("taken.wav");
    {
        TemporaryFile taken(dir.path(), "wav"), swapped(dir.path(), "wav");
        EXPECT_THROW(taken.commitAs(dir.filePath("taken.wav")), Failure);
        QFile::remove(swapped.path());
        writeFile(swapped.path(), "someone else's");
        EXPECT_THROW(swapped.commitAs(dir.filePath("out.wav")), Failure);
        QFile::remove(swapped.path());
    }
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("out.wav")));
    EXPECT_TRUE(fixtures::temporaryFilesIn(dir.path()).isEmpty());
    EXPECT_THROW(TemporaryFile(dir.filePath("no-such-folder"), "wav"), Failure);
    // A full disk gives the system's reason, not an unknown error.
    {
        TemporaryFile full(dir.path(), "wav");
        const int device = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
        ASSERT_GE(::dup2(device, full.descriptor()), 0);
        ::close(device);
        EXPECT_EQ(fixtures::errorOf([&] { full.write("x", 1); }), "No space left on device");
    }

    // A whole content (the settings file) replaces the link, not its target.
    TemporaryFiles::replaceWith(link, "{}");
    EXPECT_EQ(readFile(link), "{}");
    EXPECT_FALSE(QFileInfo(link).isSymLink());
    EXPECT_EQ(readFile(unlisted), "precious");
    EXPECT_TRUE(fixtures::temporaryFilesIn(dir.path()).isEmpty());
}

TEST(TemporaryFileTest, StaleCleanupRemovesOnlyWhatNoLiveRunHolds) {
    QTemporaryDir dir;
    const TemporaryFile live(dir.path(), "wav");
    // What a killed run leaves: the pattern, and no lock (locks die with their process).
    const QString stale = dir.filePath(".sonivel-0A1B2C3D-0000-4000-8000-00000000ABCD.mp3");
    writeFile(stale, "half an export");
    // Look-alikes that are not the program's files, and a FIFO that would block a reader.
    const QString fifo = dir.filePath(".sonivel-0A1B2C3D-0000-4000-8000-00000000FFFF.wav");
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    const QString target = dir.filePath("target.wav");
    writeFile(target, "kept");
    ASSERT_TRUE(QFile::link(target, dir.filePath(".sonivel-0A1B2C3D-0000-4000-8000-000000000001.wav")));
    for (const char* name :
         {".sonivel-notours.wav", "Song (-16LUFS).wav", ".sonivel-0a1b2c3d-0000-4000-8000-00000000abcd.mp3"})
        writeFile(dir.filePath(name), "user file");
    const QStringList before = fixtures::filesIn(dir.path());

    EXPECT_EQ(TemporaryFiles::removeStale(dir.path()), 1);
    QStringList expected = before;
    expected.removeOne(QFileInfo(stale).fileName());
    EXPECT_EQ(fixtures::filesIn(dir.path()), expected);
    EXPECT_TRUE(QFileInfo::exists(live.path())) << "a live run's file is locked";
    EXPECT_EQ(readFile(target), "kept");
}

// A signal handled on one thread while another makes files: none is left.
TEST(TemporaryFileTest, AnInterruptionLeavesNoFileAnotherThreadMakes) {
    QTemporaryDir dir;
    for (int round = 0; round < 10; ++round) {
        EXPECT_EXIT(
            {
                Interruption::installHandlers();
                std::thread maker([&] {
                    std::vector<TemporaryFile> kept;
                    for (;;) {
                        if (kept.size() == 64)
                            kept.clear();
                        try {
                            kept.emplace_back(dir.path(), "wav");
                        } catch (const Failure&) {
                        }
                    }
                });
                ::usleep(static_cast<useconds_t>(1000 * round));
                ::raise(SIGTERM);
            },
            testing::KilledBySignal(SIGTERM), "");
        ASSERT_TRUE(fixtures::temporaryFilesIn(dir.path()).isEmpty()) << round;
    }
}
