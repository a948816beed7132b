#include "FakeFFmpeg.h"

#include "export/ExportErrors.h"
#include "export/FFmpegExporter.h"
#include "io/TemporaryFile.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

FFmpegExporter::ExportJob job(const QString& source, double correction, const QString& dest,
                              ExportFormat format = ExportFormat::wav24,
                              SampleRate rate = SampleRate::rate48000, bool limiter = false) {
    return {source, correction, -16.0, dest, format, rate, limiter};
}

struct Outcome {
    QList<std::pair<int64_t, int64_t>> progress;
    bool done = false;
    std::vector<QString> outputs;
    QString error;
};

Outcome runAll(const FFmpegExporter& exporter, std::vector<FFmpegExporter::ExportJob> jobs) {
    Outcome o;
    exporter.exportJobs(
        std::move(jobs), [&](int64_t c, int64_t t) { o.progress << std::pair(c, t); },
        [&](std::vector<QString> outputs, std::exception_ptr error) {
            o.done = true;
            o.outputs = std::move(outputs);
            if (error) {
                try {
                    std::rethrow_exception(error);
                } catch (const DescribedError& e) {
                    o.error = e.description();
                }
            }
        });
    EXPECT_TRUE(fixtures::waitUntil([&] { return o.done; }));
    return o;
}

} // namespace

TEST(FFmpegExporterTest, ArgumentListsFollowCorrectionLimiterAndRate) {
    const QString out = "/out/normalized";
    const auto arguments = [](const FFmpegExporter::ExportJob& j) { return FFmpegExporter::arguments(j, "W"); };
    EXPECT_EQ(arguments(job("/in/Song.aiff", 0.005, out)),
              (QStringList{"-y", "-i", "/in/Song.aiff", "-ar", "48000", "-c:a", "pcm_s24le",
                           "W"}));
    EXPECT_EQ(arguments(job("/in/a.wav", -3.0, out, ExportFormat::wav16,
                                            SampleRate::rate44100, true)),
              (QStringList{"-y", "-i", "/in/a.wav", "-af", "volume=-3.00dB", "-ar", "44100", "-c:a",
                           "pcm_s16le", "W"}));
    EXPECT_EQ(arguments(job("/in/Song.aiff", 4.5, out, ExportFormat::wav24,
                                            SampleRate::rate48000, true)),
              (QStringList{"-y", "-i", "/in/Song.aiff", "-af",
                           "volume=4.50dB,alimiter=limit=0.966:attack=5:release=50:level=false,"
                           "atrim=start_sample=239,asetpts=PTS-STARTPTS",
                           "-ar", "48000", "-c:a", "pcm_s24le", "W"}));
    const QStringList at96 = arguments(
        job("/in/x.flac", 2.0, out, ExportFormat::mp3_320, SampleRate::rate96000, true));
    EXPECT_TRUE(at96[4].endsWith("atrim=start_sample=479,asetpts=PTS-STARTPTS")) << at96[4].toStdString();
    EXPECT_EQ(at96.mid(5), (QStringList{"-ar", "96000", "-c:a", "libmp3lame", "-b:a", "320k",
                                        "W"}));
    // No volume filter within ±0.01 dB, but a positive correction still limits.
    EXPECT_EQ(arguments(job("/a.wav", 0.01, out, ExportFormat::flac))[3], "-ar");
    EXPECT_EQ(arguments(job("/a.wav", 0.01, out, ExportFormat::flac,
                                            SampleRate::rate48000, true))[4],
              limiterChain(239));
    EXPECT_EQ(arguments(job("/a.wav", -2.25, out))[4], "volume=-2.25dB");
}

TEST(FFmpegExporterTest, RunsJobsInOrderAndStopsAtTheFirstFailure) {
    QTemporaryDir dir;
    const QString dest = dir.filePath("normalized");
    FakeFFmpeg ok(dir.path());
    Outcome all = runAll(FFmpegExporter(ok.path),
                         {job("/in/a.wav", 1, dest), job("/in/b.wav", 2, dest)});
    EXPECT_EQ(all.progress, (QList<std::pair<int64_t, int64_t>>{{1, 2}, {2, 2}}));
    EXPECT_TRUE(all.error.isEmpty());
    EXPECT_EQ(all.outputs, (std::vector<QString>{dest + "/a (-16LUFS).wav", dest + "/b (-16LUFS).wav"}));
    EXPECT_TRUE(QFileInfo(dest).isDir()) << "the folder is made on the way";
    ASSERT_EQ(ok.runs().size(), 2);
    EXPECT_TRUE(TemporaryFiles::isTemporaryName(QFileInfo(ok.runs()[1].last()).fileName()));
    EXPECT_EQ(fixtures::filesIn(dest), (QStringList{"a (-16LUFS).wav", "b (-16LUFS).wav"})) << "renamed when done";

    Outcome none = runAll(FFmpegExporter(ok.path), {});
    EXPECT_TRUE(none.progress.isEmpty());
    EXPECT_TRUE(none.outputs.empty() && none.error.isEmpty());

    // The second of three fails: (1,3), (2,3), then the error; the third never runs.
    QTemporaryDir failing;
    const QString longText = QString(250, QLatin1Char('x'));
    const QString script = fixtures::writeScript(
        failing.path(), "flaky-ffmpeg",
        QStringLiteral("echo run >> '%1/count'\n"
                       "[ $(wc -l < '%1/count') -eq 2 ] && { printf '%2' >&2; exit 1; }\nexit 0")
            .arg(failing.path(), longText));
    Outcome broken = runAll(FFmpegExporter(script), {job("/in/a.wav", 1, dest), job("/in/Song.aiff", 1, dest),
                                                     job("/in/c.wav", 1, dest)});
    EXPECT_EQ(broken.progress, (QList<std::pair<int64_t, int64_t>>{{1, 3}, {2, 3}}));
    EXPECT_EQ(broken.error, "Error exporting Song.aiff: " + QString(200, QLatin1Char('x')));
    QFile count(failing.filePath("count"));
    count.open(QIODevice::ReadOnly);
    EXPECT_EQ(count.readAll().count('\n'), 2);

    FakeFFmpeg silent(failing.path(), 3);
    EXPECT_EQ(runAll(FFmpegExporter(silent.path), {job("/in/a.wav", 1, dest)}).error,
              "Error exporting a.wav: Unknown error");
    const QString missing = runAll(FFmpegExporter(dir.filePath("no-such-ffmpeg")), {job("/in/a.wav", 1, dest)}).error;
    EXPECT_TRUE(missing.startsWith("Cannot start the encoder")) << missing.toStdString();
}
