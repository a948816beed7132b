#include "FakeFFmpeg.h"

#include "export/ExportErrors.h"
#include "export/FFmpegExporter.h"
#include "io/TemporaryFile.h"
#include "support/QtPrinters.h"

#include <sys/stat.h>

namespace {

ExportJob job(const QString& source, double correction, const QString& dest, ExportFormat format = ExportFormat::wav24,
              SampleRate rate = SampleRate::rate48000, bool limiter = false) {
    return {source, correction, -16.0, dest, format, rate, limiter, -20.0};
}

// The error text of one job.
QString failureOf(const ExportJob& j, const QString& ffmpeg) {
    return fixtures::errorOf([&] { FFmpegExporter::runExport(j, ffmpeg); });
}

} // namespace

TEST(FFmpegExporterTest, ArgumentListsFollowCorrectionLimiterAndRate) {
    const QString out = "/out/normalized";
    const auto arguments = [](const ExportJob& j) { return FFmpegExporter::arguments(j, "W"); };
    // A lowering correction needs no limiter.
    EXPECT_EQ(arguments(job("/in/a.wav", -3.0, out, ExportFormat::wav16, SampleRate::rate44100, true)),
              (encoderInputArguments("/in/a.wav") +
               QStringList{"-af", "volume=-3.00dB", "-ar", "44100", "-c:a", "pcm_s16le", "-f", "wav", "W"}));
    EXPECT_EQ(arguments(job("/in/Song.aiff", 4.5, out, ExportFormat::wav24, SampleRate::rate48000, true)).mid(7),
              (QStringList{"-af", "volume=4.50dB," + limiterChain(239), "-ar", "48000", "-c:a", "pcm_s24le", "-f",
                           "wav", "W"}));
    const QStringList at96 = arguments(job("/in/x.flac", 2.0, out, ExportFormat::mp3_320, SampleRate::rate96000, true));
    EXPECT_TRUE(at96[8].endsWith("atrim=start_sample=479,asetpts=PTS-STARTPTS")) << at96[8].toStdString();
    EXPECT_EQ(at96.mid(9), (QStringList{"-ar", "96000", "-c:a", "libmp3lame", "-b:a", "320k", "-f", "mp3", "W"}));
    // No volume filter within ±0.01 dB, but a positive correction still limits.
    EXPECT_EQ(arguments(job("/a.wav", 0.01, out, ExportFormat::flac))[7], "-ar");
    EXPECT_EQ(arguments(job("/a.wav", 0.01, out, ExportFormat::flac, SampleRate::rate48000, true))[8],
              limiterChain(239));
    EXPECT_EQ(arguments(job("/a.wav", -2.25, out))[8], "volume=-2.25dB");
    // A try that lands a limited file on target adds its gain to the correction.
    EXPECT_EQ(FFmpegExporter::arguments(job("/a.wav", 4.0, out, ExportFormat::flac, SampleRate::rate48000, true), "W",
                                        1.255)[8],
              "volume=5.25dB," + limiterChain(239));
}

TEST(FFmpegExporterTest, OneRunWritesBesideThenRenamesOrReportsTheEncoder) {
    QTemporaryDir dir;
    const QString dest = dir.filePath("normalized");
    const QString a = dir.filePath("a.wav"), song = dir.filePath("Song.aiff"), pipe = dir.filePath("x.wav");
    for (const QString& source : {a, song})
        fixtures::writeFile(source, {});
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    FakeFFmpeg ok(dir.path());
    const ExportedFile written = FFmpegExporter::runExport(job(a, 1, dest), ok.path);
    EXPECT_EQ(written.path, dest + "/a (-16LUFS).wav");
    EXPECT_TRUE(QFileInfo(dest).isDir()) << "the folder is made on the way";
    ASSERT_EQ(ok.runs().size(), 1);
    EXPECT_TRUE(TemporaryFiles::isTemporaryName(QFileInfo(ok.runs()[0].last()).fileName()));
    EXPECT_EQ(fixtures::filesIn(dest), (QStringList{"a (-16LUFS).wav"})) << "renamed when done";

    // The encoder's own words, cut at 200 characters; a silent failure; no
    // encoder; a named pipe, which the encoder would wait on for ever.
    FakeFFmpeg chatty(dir.path(), 1, QString(250, QLatin1Char('x')));
    EXPECT_EQ(failureOf(job(song, 1, dest), chatty.path),
              "Error exporting Song.aiff: " + QString(200, QLatin1Char('x')));
    FakeFFmpeg silent(dir.path(), 3);
    EXPECT_EQ(failureOf(job(a, 1, dest), silent.path),
              "Error exporting a.wav: the encoder stopped with exit code 3 and no message");
    EXPECT_TRUE(failureOf(job(a, 1, dest), dir.filePath("no-such-ffmpeg")).startsWith("Cannot start the encoder"));
    EXPECT_EQ(failureOf(job(pipe, 1, dest), ok.path), "Error exporting x.wav: a named pipe, not a file");
    EXPECT_EQ(fixtures::filesIn(dest), (QStringList{"a (-16LUFS).wav"}));
}
