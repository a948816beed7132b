#include "io/FFmpegLocator.h"

#include "support/AudioFixtures.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using fixtures::writeScript;

namespace {

// A world of its own: resource and program folders, a fake `which`, and two
// fixed candidates, none of them anything until a test makes them so.
class FFmpegLocatorTest : public ::testing::Test {
protected:
    QTemporaryDir root;
    FFmpegSearchPlaces places;

    void SetUp() override {
        for (const char* d : {"share", "bin", "tools", "opt", "local"}) {
            QDir(root.path()).mkdir(d);
        }
        places.resourceDir = root.filePath("share");
        places.programDir = root.filePath("bin");
        places.whichProgram = writeScript(root.path(), "which", "exit 1");
        places.fixedCandidates = {root.filePath("opt/ffmpeg"), root.filePath("local/ffmpeg")};
    }
    void setWhich(const QString& body) { writeScript(root.path(), "which", body); }
    QString encoderIn(const char* dir) {
        return writeScript(root.filePath(dir), "ffmpeg", "exit 0");
    }
};

} // namespace

TEST_F(FFmpegLocatorTest, NothingAnywhereGivesTheBareName) {
    EXPECT_EQ(FFmpegLocator::find(places), "ffmpeg");
    places.whichProgram = root.filePath("no-such-which");
    EXPECT_EQ(FFmpegLocator::find(places), "ffmpeg");
}

TEST_F(FFmpegLocatorTest, PlacesAreTriedInOrder) {
    const QString local = encoderIn("local");
    EXPECT_EQ(FFmpegLocator::find(places), local);
    const QString opt = encoderIn("opt");
    EXPECT_EQ(FFmpegLocator::find(places), opt); // both fixed candidates: the first wins
    setWhich("echo /somewhere/on/path/ffmpeg");
    EXPECT_EQ(FFmpegLocator::find(places), "/somewhere/on/path/ffmpeg"); // not tested for existence
    const QString beside = encoderIn("bin");
    EXPECT_EQ(FFmpegLocator::find(places), beside);
    const QString resource = encoderIn("share");
    EXPECT_EQ(FFmpegLocator::find(places), resource);
}

TEST_F(FFmpegLocatorTest, ResourceThatIsNotExecutableIsSkipped) {
    QFile plain(root.filePath("share/ffmpeg"));
    ASSERT_TRUE(plain.open(QIODevice::WriteOnly));
    plain.write("not a program");
    plain.close();
    const QString beside = encoderIn("bin");
    EXPECT_EQ(FFmpegLocator::find(places), beside);
    // A folder named ffmpeg is not an executable either.
    QDir(root.path()).mkpath("bin2/ffmpeg");
    places.programDir = root.filePath("bin2");
    EXPECT_EQ(FFmpegLocator::find(places), "ffmpeg");
}

TEST_F(FFmpegLocatorTest, WhichOutputIsTrimmedAndBlankMeansNotFound) {
    setWhich("printf '  /usr/x/ffmpeg\\n\\n'");
    EXPECT_EQ(FFmpegLocator::findInPath(places), "/usr/x/ffmpeg");
    setWhich("printf '  \\n\\t\\n'");
    EXPECT_EQ(FFmpegLocator::findInPath(places), std::nullopt);
    const QString local = encoderIn("local");
    EXPECT_EQ(FFmpegLocator::find(places), local); // blank `which`: fixed candidates next
    setWhich("echo /usr/x/ffmpeg; exit 1");
    EXPECT_EQ(FFmpegLocator::findInPath(places), std::nullopt);
    setWhich("printf '/usr/\\377\\376/ffmpeg\\n'"); // not UTF-8
    EXPECT_EQ(FFmpegLocator::findInPath(places), std::nullopt);
}

TEST_F(FFmpegLocatorTest, RealWhichSearchesThePath) {
    places.whichProgram = "/usr/bin/which";
    const QString tool = encoderIn("tools");
    places.searchPath = root.filePath("tools");
    EXPECT_EQ(FFmpegLocator::findInPath(places), tool);
    places.searchPath = root.filePath("opt");
    EXPECT_EQ(FFmpegLocator::findInPath(places), std::nullopt);
}
