#include "io/FileError.h"
#include "io/FileIdentity.h"
#include "io/TemporaryFile.h"
#include "support/AudioFixtures.h"
#include "support/QtPrinters.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

void writeFile(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(bytes);
}

QByteArray contentOf(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void fill(const TemporaryFile& file, const QByteArray& bytes) {
    ASSERT_EQ(::write(file.descriptor(), bytes.constData(), static_cast<size_t>(bytes.size())), bytes.size());
}

} // namespace

TEST(TemporaryFileTest, CommitReplacesTheNameAndNeverWritesThroughIt) {
    QTemporaryDir dir;
    const QString source = dir.filePath("source.wav"), unlisted = dir.filePath("unlisted.txt");
    writeFile(source, "the user's audio");
    writeFile(unlisted, "precious");
    const QString linked = dir.filePath("linked.wav"), symlinked = dir.filePath("symlinked.wav");
    ASSERT_EQ(::link(QFile::encodeName(source).constData(), QFile::encodeName(linked).constData()), 0);
    ASSERT_TRUE(QFile::link(unlisted, symlinked));
    EXPECT_TRUE(isSameFile(linked, source));
    EXPECT_TRUE(isSameFile(symlinked, unlisted));
    EXPECT_FALSE(isSameFile(source, unlisted));
    EXPECT_FALSE(isSameFile(dir.filePath("missing"), dir.filePath("missing")));
    const auto before = fixtures::sha256Of({source, unlisted});

    {
        TemporaryFile a(dir.path(), "wav"), b(dir.path(), "mp3");
        EXPECT_NE(a.path(), b.path());
        EXPECT_TRUE(TemporaryFiles::isTemporaryName(QFileInfo(a.path()).fileName()));
        EXPECT_TRUE(b.path().endsWith(".mp3"));
        fill(a, "new export");
        fill(b, "other export");
        a.commitAs(linked);
        b.commitAs(symlinked);
    }
    EXPECT_EQ(contentOf(linked), "new export");
    EXPECT_EQ(contentOf(symlinked), "other export");
    EXPECT_FALSE(QFileInfo(symlinked).isSymLink()) << "the link itself was replaced";
    EXPECT_EQ(fixtures::sha256Of({source, unlisted}), before);

    // A name that cannot be replaced (a folder is there): an error, and the
    // temporary file is still removed.
    QDir(dir.path()).mkdir("taken.wav");
    {
        TemporaryFile c(dir.path(), "wav");
        EXPECT_THROW(c.commitAs(dir.filePath("taken.wav")), FileError);
    }
    EXPECT_TRUE(fixtures::temporaryFilesIn(dir.path()).isEmpty());
    EXPECT_THROW(TemporaryFile(dir.filePath("no-such-folder"), "wav"), FileError);

    // A whole content written the same way, over a symbolic link too.
    TemporaryFiles::replaceWith(symlinked, "{\"settings\": true}");
    TemporaryFiles::replaceWith(dir.filePath("fresh.json"), "{}");
    EXPECT_EQ(contentOf(symlinked), "{\"settings\": true}");
    EXPECT_EQ(contentOf(dir.filePath("fresh.json")), "{}");
    EXPECT_EQ(fixtures::sha256Of({source, unlisted}), before);
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
    for (const char* name : {".sonivel-notours.wav", "Song (-16LUFS).wav", ".sonivel-0a1b2c3d-0000-4000-8000-00000000abcd.mp3"})
        writeFile(dir.filePath(name), "user file");
    const QStringList before = fixtures::filesIn(dir.path());

    EXPECT_EQ(TemporaryFiles::removeStale(dir.path()), 1);
    QStringList expected = before;
    expected.removeOne(QFileInfo(stale).fileName());
    EXPECT_EQ(fixtures::filesIn(dir.path()), expected);
    EXPECT_TRUE(QFileInfo::exists(live.path())) << "a live run's file is locked";
    EXPECT_EQ(contentOf(target), "kept");
}
