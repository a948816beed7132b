#include "FakeFFmpeg.h"

#include "editing/SegmentEditModel.h"
#include "editing/SegmentGainEvaluation.h"
#include "export/ExportErrors.h"
#include "export/FFmpegExporter.h"
#include "export/InAppRenderer.h"
#include "io/AudioReader.h"
#include "io/FFmpegLocator.h"
#include "io/TemporaryFile.h"
#include "support/QtPrinters.h"

#include <QProcess>
#include <sndfile.h>

namespace {

QString writeSource(const QTemporaryDir& dir, const QString& name, int64_t rate, double seconds, int channels = 2) {
    return fixtures::writeTone(dir, name, seconds, 0.25, channels, rate);
}

RenderJob jobFor(const QString& source, const QString& dest, double correction, ExportFormat format, SampleRate rate,
                 bool limiter, std::vector<double> offsets = {}) {
    SegmentEditSnapshot edits = SegmentEditSnapshot::initial();
    for (size_t i = 1; i < offsets.size(); ++i)
        SegmentEditModel::addSeparator(edits, 3.0 * static_cast<double>(i));
    for (size_t i = 0; i < offsets.size(); ++i)
        SegmentEditModel::setSegmentGain(edits, static_cast<int64_t>(i), offsets[i]);
    // The sources peak at -12 dBFS.
    return RenderJob{{source, correction, -16.0, dest, format, rate, limiter, -12.0}, edits};
}

QStringList leftovers(const QString& dest) {
    return fixtures::temporaryFilesIn(dest) + fixtures::temporaryFilesIn(QDir::tempPath());
}

bool isTemporaryIn(const QString& path, const QString& dest, const QString& extension) {
    return QFileInfo(path).absolutePath() == dest && path.endsWith("." + extension) &&
           TemporaryFiles::isTemporaryName(QFileInfo(path).fileName());
}

} // namespace

TEST(InAppRendererTest, EncoderArgumentsForTheFourFinishingCases) {
    QTemporaryDir dir;
    const QString dest = dir.filePath("normalized");
    const QString src44 = writeSource(dir, "Song.wav", 44100, 0.5);
    FakeFFmpeg fake(dir.path());
    const InAppRenderer renderer(fake.path);

    // A: WAV with the limiter, trim from the rate the encoder reads (44100).
    const ExportedFile out =
        renderer.render(jobFor(src44, dest, 2.0, ExportFormat::wav24, SampleRate::rate48000, true));
    EXPECT_EQ(out.path, dest + "/Song (-16LUFS).wav");
    EXPECT_FALSE(out.offTarget);
    // B: MP3 with the limiter; a segment at +2 dB over a -1 dB correction needs it.
    renderer.render(jobFor(src44, dest, -1.0, ExportFormat::mp3_320, SampleRate::rate48000, true, {0, 2}));
    // D: FLAC without limiter ("Export anyway").
    renderer.render(jobFor(src44, dest, 2.0, ExportFormat::flac, SampleRate::rate44100, false));
    // A at the source rate: no "-ar".
    const QString src48 = writeSource(dir, "Other.wav", 48000, 0.5);
    renderer.render(jobFor(src48, dest, 2.0, ExportFormat::wav16, SampleRate::rate48000, true));

    // The encoder reads the rendered WAV and writes a temporary file of its
    // own; both sit beside the output, which only the final rename makes.
    QList<QStringList> runs = fake.runs();
    ASSERT_EQ(runs.size(), 4);
    for (QStringList& run : runs) {
        const auto leading = FFmpegLocator::quietArguments.size();
        EXPECT_EQ(run.mid(0, leading), FFmpegLocator::quietArguments);
        run = run.mid(leading);
    }
    for (int i = 0; i < 4; ++i) {
        ASSERT_GE(runs[i].size(), 4);
        EXPECT_EQ(encoderInputArguments(runs[i][3]), runs[i].mid(0, 7));
        EXPECT_TRUE(isTemporaryIn(runs[i][3], dest, "wav") &&
                    isTemporaryIn(runs[i].last(), dest, QStringList{"wav", "mp3", "flac", "wav"}[i]))
            << i;
    }
    const auto middle = [](const QStringList& run) { return run.mid(7, run.size() - 8); };
    const QString chain219 = limiterChain(219);
    EXPECT_EQ(middle(runs[0]), (QStringList{"-af", chain219, "-ar", "48000", "-c:a", "pcm_s24le", "-f", "wav"}));
    EXPECT_EQ(middle(runs[1]),
              (QStringList{"-af", chain219, "-ar", "48000", "-codec:a", "libmp3lame", "-b:a", "320k", "-f", "mp3"}));
    EXPECT_EQ(middle(runs[2]), (QStringList{"-ar", "44100", "-codec:a", "flac", "-f", "flac"}));
    EXPECT_EQ(middle(runs[3]), (QStringList{"-af", limiterChain(239), "-c:a", "pcm_s16le", "-f", "wav"}));
    EXPECT_EQ(fixtures::filesIn(dest),
              (QStringList{"Other (-16LUFS).wav", "Song (-16LUFS).flac", "Song (-16LUFS).mp3", "Song (-16LUFS).wav"}));
    EXPECT_TRUE(leftovers(dest).isEmpty()) << leftovers(dest).join(", ").toStdString();

    // Limiter asked for, but nothing raises the level: WAV written here, no encoder run.
    renderer.render(jobFor(src48, dest, -3.0, ExportFormat::wav24, SampleRate::rate48000, true, {-1, -2}));
    EXPECT_EQ(fake.runs().size(), 4);
}

TEST(InAppRendererTest, FailuresRaiseTheirTextAndLeaveNoTemporaryFile) {
    QTemporaryDir dir;
    const QString dest = dir.filePath("normalized");
    const QString src = writeSource(dir, "Song.wav", 48000, 0.5);
    // A good output of an earlier run outlives a failing encoder.
    const InAppRenderer good(FFmpegLocator::find());
    const QString earlier =
        good.render(jobFor(src, dest, 1.0, ExportFormat::mp3_128, SampleRate::rate48000, true)).path;
    const auto before = fixtures::sha256Of({src, earlier});
    // Its first complaint, naming the output instead of the temporary file.
    FakeFFmpeg failing(dir.path(), 1,
                       "\n[mp3 @ 0x5f0a] Error writing trailer of ${last}: No space left on device\nRepeated 1 times");
    const RenderJob job = jobFor(src, dest, 1.0, ExportFormat::mp3_128, SampleRate::rate48000, true);
    EXPECT_EQ(fixtures::errorOf([&] { InAppRenderer(failing.path).render(job); }),
              "FFmpeg encode failed: Error writing trailer of " + QFileInfo(outputPath(job)).fileName() +
                  ": No space left on device");
    EXPECT_EQ(fixtures::sha256Of({src, earlier}), before);
    EXPECT_TRUE(leftovers(dest).isEmpty());
    EXPECT_TRUE(fixtures::errorOf([&] {
                    InAppRenderer(failing.path)
                        .render(jobFor(dir.filePath("absent.wav"), dest, 1.0, ExportFormat::wav24,
                                       SampleRate::rate48000, false));
                }).startsWith("Cannot read source: "));

    // A destination that cannot be a folder (a file is in the way).
    fixtures::writeFile(dir.filePath("blocked"), {});
    EXPECT_THROW(InAppRenderer(failing.path)
                     .render(jobFor(src, dir.filePath("blocked/normalized"), 1.0, ExportFormat::wav24,
                                    SampleRate::rate48000, false)),
                 SystemError);
}

TEST(InAppRendererTest, WritesGainedSamplesAndResamplesWithoutTheEncoder) {
    QTemporaryDir dir;
    const QString dest = dir.filePath("normalized");
    const QString src = writeSource(dir, "Song.wav", 48000, 7.0);
    const InAppRenderer renderer(dir.filePath("no-encoder-needed"));

    // Same rate: every sample is the source times its block's gain.
    testing::internal::CaptureStdout();
    const QString out =
        renderer.render(jobFor(src, dest, -6.0, ExportFormat::wav32, SampleRate::rate48000, false, {0, 3})).path;
    const std::string log = testing::internal::GetCapturedStdout();
    EXPECT_EQ(log, "[Renderer] Wrote 336000/336000 samples to Song (-16LUFS).wav\n");
    const std::vector<float> in = fixtures::readFirstChannel(src);
    const std::vector<float> got = fixtures::readFirstChannel(out);
    ASSERT_EQ(got.size(), in.size());
    const std::vector<float> env = SegmentGainEvaluation::computeGainEnvelope(
        jobFor(src, dest, -6.0, ExportFormat::wav32, SampleRate::rate48000, false, {0, 3}).segmentEdits, -6.0, 48000,
        336000);
    for (size_t i = 0; i < in.size(); i += 997)
        ASSERT_EQ(got[i], in[i] * env[i / 512]) << i;

    // WAV 16-bit at 44100 from 48000: resampled in-app, the name kept.
    const QString out16 =
        renderer.render(jobFor(src, dest, 0.0, ExportFormat::wav16, SampleRate::rate44100, false, {0, 1})).path;
    SF_INFO info{};
    SNDFILE* header = sf_open(QFile::encodeName(out16).constData(), SFM_READ, &info);
    sf_close(header);
    EXPECT_EQ(info.format & SF_FORMAT_SUBMASK, SF_FORMAT_PCM_16) << "16-bit as chosen";
    AudioReader written(out16);
    EXPECT_EQ(std::pair(written.sampleRate(), written.channels()), std::pair(int64_t{44100}, 2));
    EXPECT_NEAR(static_cast<double>(written.frames()), 7.0 * 44100, 2.0);
    EXPECT_TRUE(leftovers(dest).isEmpty());

    // AAC is read streaming like any other format, keeping its channels and rate.
    const QString m4a = dir.filePath("Song.m4a");
    ASSERT_TRUE(fixtures::runFFmpeg({"-y", "-v", "error", "-i", src, "-c:a", "aac", m4a}));
    const QString fromAac =
        InAppRenderer(FFmpegLocator::find())
            .render(jobFor(m4a, dir.filePath("aac"), 0.0, ExportFormat::wav24, SampleRate::rate48000, false, {0, 1}))
            .path;
    AudioReader aac(fromAac);
    EXPECT_EQ(aac.channels(), 2);
    EXPECT_NEAR(static_cast<double>(aac.frames()) / 48000.0, 7.0, 0.05);

    // A file without frames still goes through: 0/0 is logged.
    const QString empty = writeSource(dir, "Empty.wav", 48000, 0.0);
    testing::internal::CaptureStdout();
    renderer.render(jobFor(empty, dest, 1.0, ExportFormat::wav24, SampleRate::rate48000, false, {0, 1}));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[Renderer] Wrote 0/0 samples to Empty (-16LUFS).wav\n");
}

// A full disk: a small tmpfs, mounted when the tests may (as root); skipped
// where mounting is not allowed.
TEST(InAppRendererTest, FullDiskFailsWithItsReasonAndLeavesNoTemporaryFile) {
    QTemporaryDir dir;
    const QString small = dir.filePath("small");
    QDir().mkpath(small);
    if (QProcess::execute("mount", {"-t", "tmpfs", "-o", "size=256k", "tmpfs", small}) != 0)
        GTEST_SKIP() << "cannot mount a small file system here";
    struct Unmount {
        QString path;
        ~Unmount() { QProcess::execute("umount", {path}); }
    } unmount{small};

    const QString src = writeSource(dir, "Song.wav", 48000, 3.0); // 1.1 MB of float samples
    const QString dest = QDir(small).filePath("normalized");
    // Earlier outputs of the same names: each failed job leaves them as they were.
    QDir().mkpath(dest);
    QStringList earlier;
    for (const char* name : {"Song (-16LUFS).wav", "Song (-16LUFS).mp3"})
        earlier << fixtures::writeFile(QDir(dest).filePath(name), QByteArray(4096, 'e'));
    const auto before = fixtures::sha256Of(earlier << src);
    for (ExportFormat format : {ExportFormat::wav32, ExportFormat::mp3_320}) {
        const QString error = fixtures::errorOf([&] {
            InAppRenderer(FFmpegLocator::find())
                .render(jobFor(src, dest, 1.0, format, SampleRate::rate48000, false, {0, 1}));
        });
        EXPECT_TRUE(error.startsWith("Cannot write \"Song (-16LUFS).")) << error.toStdString();
        EXPECT_TRUE(leftovers(dest).isEmpty()) << leftovers(dest).join(", ").toStdString();
    }
    // The encoder path reports the encoder's own words.
    const QString encoderError = fixtures::errorOf([&] {
        FFmpegExporter::runExport({src, 1.0, -16.0, dest, ExportFormat::wav32, SampleRate::rate96000, false, -12.0},
                                  FFmpegLocator::find());
    });
    EXPECT_TRUE(encoderError.startsWith("Error exporting Song.wav: ")) << encoderError.toStdString();
    EXPECT_TRUE(leftovers(dest).isEmpty()) << leftovers(dest).join(", ").toStdString();
    EXPECT_EQ(fixtures::sha256Of(earlier), before);
}
