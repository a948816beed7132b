#include "io/FFmpegLocator.h"

#include "support/AudioFixtures.h"

using fixtures::writeScript;

namespace {

// A world of its own: resource and program folders, a search path, and two
// fixed candidates, none of them anything until a test makes them so.
class FFmpegLocatorTest : public ::testing::Test {
protected:
    QTemporaryDir root;
    FFmpegSearchPlaces places;

    void SetUp() override {
        for (const char* d : {"share", "bin", "tools", "path2", "opt", "local"}) {
            QDir(root.path()).mkdir(d);
        }
        places.resourceDir = root.filePath("share");
        places.programDir = root.filePath("bin");
        places.searchPath = root.filePath("tools") + ":" + root.filePath("path2");
        places.fixedCandidates = {root.filePath("opt/ffmpeg"), root.filePath("local/ffmpeg")};
    }
    QString encoderIn(const char* dir) { return writeScript(root.filePath(dir), "ffmpeg", "exit 0"); }
};

} // namespace

TEST_F(FFmpegLocatorTest, NothingAnywhereGivesTheBareName) {
    EXPECT_EQ(FFmpegLocator::find(places), "ffmpeg");
    places.searchPath = "";
    EXPECT_EQ(FFmpegLocator::find(places), "ffmpeg") << "an empty search path is not our own";
}

TEST_F(FFmpegLocatorTest, PlacesAreTriedInOrder) {
    const QString local = encoderIn("local");
    EXPECT_EQ(FFmpegLocator::find(places), local);
    const QString opt = encoderIn("opt");
    EXPECT_EQ(FFmpegLocator::find(places), opt); // both fixed candidates: the first wins
    const QString later = encoderIn("path2");
    EXPECT_EQ(FFmpegLocator::find(places), later);
    const QString inPath = encoderIn("tools");
    EXPECT_EQ(FFmpegLocator::find(places), inPath); // the search path's first folder first
    const QString beside = encoderIn("bin");
    EXPECT_EQ(FFmpegLocator::find(places), beside);
    const QString resource = encoderIn("share");
    EXPECT_EQ(FFmpegLocator::find(places), resource);
}

TEST_F(FFmpegLocatorTest, ResourceThatIsNotExecutableIsSkipped) {
    fixtures::writeFile(root.filePath("share/ffmpeg"), "not a program");
    const QString beside = encoderIn("bin");
    EXPECT_EQ(FFmpegLocator::find(places), beside);
    // A folder named ffmpeg is not an executable either.
    QDir(root.path()).mkpath("bin2/ffmpeg");
    places.programDir = root.filePath("bin2");
    EXPECT_EQ(FFmpegLocator::find(places), "ffmpeg");
}
