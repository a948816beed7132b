#include "export/ExportNaming.h"
#include "io/NativePath.h"
#include "support/QtPrinters.h"

#include <gtest/gtest.h>

TEST(ExportNamingTest, NamesCarryTheFigureAndStayDistinctAndShort) {
    EXPECT_EQ(ExportNaming::fileName("Song", -16.2, false, ExportFormat::wav24), "Song (-16LUFS).wav");
    EXPECT_EQ(ExportNaming::fileName("My.Song.v2", -9.6, false, ExportFormat::flac), "My.Song.v2 (-10LUFS).flac");
    EXPECT_EQ(ExportNaming::fileName("Hum", -70.0, true, ExportFormat::mp3_128), "Hum (silent).mp3");

    // Albums whose tracks share names, and a name that differs only in case.
    EXPECT_EQ(ExportNaming::distinctStems({"/a/x.wav", "/b/x.wav", "/b/x.flac", "/c/X.aiff", "/d/My.Song.v2.wav"},
                                          ExportFormat::wav24, 255),
              (QStringList{"x", "x (2)", "x (3)", "X (4)", "My.Song.v2"}));
    // A name too long for the file system keeps its figure and extension.
    const QString longName = "/m/" + QString(301, QChar(0x00E9)) + ".wav";
    const QString stem = ExportNaming::distinctStems({longName}, ExportFormat::flac, 255).front();
    const QString longest = stem + " (9999) (-100LUFS).flac";
    EXPECT_EQ(NativePath::encode(longest).size(), 255) << "as long as the file system allows";
    EXPECT_EQ(ExportNaming::nameMaxOf("/no/such/folder"), 255) << "the common limit where none is told";
}
