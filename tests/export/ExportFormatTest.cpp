#include "export/ExportFormat.h"
#include "support/QtPrinters.h"

#include <gtest/gtest.h>

TEST(ExportFormatTest, FormatsAndRatesCarryTheirParameters) {
    EXPECT_FALSE(exportFormatNamed("wav"));
    for (ExportFormat f : allExportFormats) {
        EXPECT_EQ(exportFormatNamed(caseName(f)), f);
        EXPECT_EQ(exportFormatNamed(rawValue(f)), f);
        EXPECT_EQ(pcmIsFloat(f), pcmBitDepth(f) == 32);
    }
    EXPECT_EQ(encoderArguments(ExportFormat::mp3_128), (QStringList{"-codec:a", "libmp3lame", "-b:a", "128k"}));
    EXPECT_EQ(encoderArguments(ExportFormat::flac), (QStringList{"-codec:a", "flac"}));
    EXPECT_TRUE(encoderArguments(ExportFormat::wav16).isEmpty());

    EXPECT_FALSE(sampleRateFromRawValue(22050));
    EXPECT_EQ(sampleRateFromRawValue(96000), SampleRate::rate96000);
    EXPECT_EQ(limiterTrimSamples(SampleRate::rate44100), 219);
    EXPECT_EQ(limiterTrimSamples(SampleRate::rate96000), 479);
    EXPECT_EQ(limiterTrimSamples(100), 0);
    EXPECT_EQ(limiterChain(239), "alimiter=limit=0.966:attack=5:release=50:level=false,"
                                 "atrim=start_sample=239,asetpts=PTS-STARTPTS");

    EXPECT_EQ(exportFileName("/m/Song.aiff", -16.2, ExportFormat::wav24), "Song (-16LUFS).wav");
    EXPECT_EQ(exportFileName("/m/Song.aiff", -14.4, ExportFormat::flac), "Song (-14LUFS).flac");
    EXPECT_EQ(exportFileName("/m/Song.aiff", -0.3, ExportFormat::mp3_128), "Song (-0LUFS).mp3");
    EXPECT_EQ(exportFileName("/m/My.Song.v2.wav", -9.5, ExportFormat::wav16), "My.Song.v2 (-10LUFS).wav");
}
