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
        for (const char* d : {"share", "bin", "tools", "path2", "opt", "local"})
            QDir(root.path()).mkdir(d);
        places.resourceDir = root.filePath("share");
        places.programDir = root.filePath("bin");
        places.searchPath = root.filePath("tools") + ":" + root.filePath("path2");
        places.fixedCandidates = {root.filePath("opt/ffmpeg"), root.filePath("local/ffmpeg")};
    }
    QString encoderIn(const char* dir) { return writeScript(root.filePath(dir), "ffmpeg", "exit 0"); }
};

} // namespace

// Nothing anywhere gives the bare name; then each place found wins over
// those made before it; what cannot run is skipped.
TEST_F(FFmpegLocatorTest, PlacesAreTriedInOrderAndOnlyProgramsCount) {
    EXPECT_EQ(FFmpegLocator::find(places), "ffmpeg");
    places.searchPath = "";
    EXPECT_EQ(FFmpegLocator::find(places), "ffmpeg") << "an empty search path is not our own";
    places.searchPath = root.filePath("tools") + ":" + root.filePath("path2");
    for (const char* dir : {"local", "opt", "path2", "tools", "bin", "share"}) {
        const QString made = encoderIn(dir);
        EXPECT_EQ(FFmpegLocator::find(places), made) << dir;
    }
    QFile::remove(root.filePath("share/ffmpeg"));
    fixtures::writeFile(root.filePath("share/ffmpeg"), "not a program");
    EXPECT_EQ(FFmpegLocator::find(places), root.filePath("bin/ffmpeg"));
    // A folder named ffmpeg is not an executable either.
    QDir(root.path()).mkpath("bin2/ffmpeg");
    places.programDir = root.filePath("bin2");
    EXPECT_EQ(FFmpegLocator::find(places), root.filePath("tools/ffmpeg"));
}
