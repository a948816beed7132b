#include "analysis/AudioLoader.h"
#include "support/AnalysisSupport.h"

#include "analysis/AnalysisErrors.h"
#include "analysis/FFmpegDecode.h"
#include "analysis/LoudnessAnalyzer.h"
#include "io/FFmpegLocator.h"
#include "support/AudioFixtures.h"

#include <cstring>
#include <sndfile.h>

using namespace fixtures;

namespace {

class AudioLoaderTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    QTemporaryDir scratch;                 // the loader's temporary directory
    TemporaryFolder guard{scratch.path()}; // shows the decoder's leftovers, if any
    QString path(const QString& name) const { return dir.filePath(name); }
};

} // namespace

TEST_F(AudioLoaderTest, MonoIsUnchangedAndChannelsAreAveraged) {
    const auto a = noise(1, 0.9, 5000);
    writeMonoWav(path("mono.wav"), a, 44100);
    const support::MonoAudio mono = support::loadMono(path("mono.wav"));
    EXPECT_EQ(mono.samples, a);
    EXPECT_EQ(mono.sampleRate, 44100);

    const auto b = noise(2, 0.9, 5000);
    const auto c = noise(3, 0.9, 5000);
    writeWav(path("three.wav"), {a, b, c}, 32000);
    const support::MonoAudio mixed = support::loadMono(path("three.wav"));
    ASSERT_EQ(mixed.samples.size(), a.size());
    const float third = static_cast<float>(1.0 / 3.0);
    for (size_t i = 0; i < a.size(); ++i)
        ASSERT_EQ(mixed.samples[i], ((a[i] + b[i]) + c[i]) * third) << i;

    // Integer files come out scaled to [-1, 1); zero frames is an empty file.
    writeAudio(path("int16.wav"), {std::vector<float>(100, 0.5f)}, 48000, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    EXPECT_EQ(support::loadMono(path("int16.wav")).samples, std::vector<float>(100, 0.5f));
    writeWav(path("empty.wav"), {{}, {}}, 48000);
    EXPECT_EQ(errorOf([&] { support::loadMono(path("empty.wav")); }), "Audio file is empty");
}

TEST_F(AudioLoaderTest, EveryFormatMeasuresAsTheWavFFmpegDecodesItTo) {
    // Correlated stereo (both channels alike), where adding the channels
    // instead of averaging them would read 3 dB too loud.
    ASSERT_TRUE(runFFmpeg("-f lavfi -i anoisesrc=d=25:c=pink:r=44100:a=0.2:seed=7,lowpass=9000 -ac 2 -c:a pcm_f32le",
                          path("music.wav")));
    const AnalysisResult original = LoudnessAnalyzer::analyze(path("music.wav"));
    for (const char* extension : {"m4a", "mp3", "ogg", "opus"}) {
        const QString encoded = path(QStringLiteral("music.%1").arg(extension));
        const QString decoded = encoded + ".wav";
        ASSERT_TRUE(runFFmpeg({"-i", path("music.wav"), encoded}));
        ASSERT_TRUE(runFFmpeg({"-i", encoded, "-c:a", "pcm_f32le", decoded}));
        const AnalysisResult direct = LoudnessAnalyzer::analyze(encoded);
        const AnalysisResult viaWav = LoudnessAnalyzer::analyze(decoded);
        EXPECT_EQ(direct.sampleRate, viaWav.sampleRate) << extension;
        EXPECT_EQ(direct.duration, viaWav.duration) << extension;
        EXPECT_NEAR(direct.loudest20sLUFS, viaWav.loudest20sLUFS, 0.02) << extension;
        EXPECT_NEAR(direct.peakDBFS, viaWav.peakDBFS, 0.02) << extension;
        EXPECT_EQ(direct.envelope.bucketCount, viaWav.envelope.bucketCount) << extension;
        EXPECT_NEAR(direct.loudest20sLUFS, original.loudest20sLUFS, 0.5) << extension;
    }
    EXPECT_TRUE(filesIn(scratch.path()).isEmpty());
}

TEST_F(AudioLoaderTest, FallbackKeepsChannelsAndAverages) {
    // The reader refuses "music.odd"; a stand-in ffmpeg decodes the WAV of
    // the same name instead, and the figures are those of that WAV at 48 kHz.
    QTemporaryDir bin;
    const QByteArray oldPath = qgetenv("PATH");
    qputenv("PATH", (bin.path() + ":" + oldPath).toUtf8());
    writeScript(bin.path(), "ffmpeg",
                QStringLiteral("for a; do shift; set -- \"$@\" \"${a%.odd}\"; done\n"
                               "exec '%1' \"$@\"")
                    .arg(FFmpegLocator::find(FFmpegSearchPlaces{})));
    ASSERT_TRUE(runFFmpeg("-f lavfi -i anoisesrc=d=5:c=pink:r=48000:a=0.2 -ac 2 -c:a pcm_f32le -f wav", path("music")));
    writeFile(path("music.odd"), "not audio\n");
    const AnalysisResult viaFallback = LoudnessAnalyzer::analyze(path("music.odd"));
    qputenv("PATH", oldPath);
    const AnalysisResult direct = LoudnessAnalyzer::analyze(path("music"));
    EXPECT_EQ(viaFallback.sampleRate, 48000);
    EXPECT_NEAR(viaFallback.loudest20sLUFS, direct.loudest20sLUFS, 0.001);
    EXPECT_TRUE(filesIn(scratch.path()).isEmpty());
}

TEST_F(AudioLoaderTest, StreamsAreChosenAndBrokenPacketsSkipped) {
    // Video with two audio streams, the second marked as the default one.
    ASSERT_TRUE(runFFmpeg("-f lavfi -i testsrc=d=3:s=64x48 -f lavfi -i sine=f=440:d=3 -f lavfi -i "
                          "sine=f=440:d=3,volume=0.5 -map 0 -map 1 -map 2 -disposition:a:0 0 -disposition:a:1 "
                          "default -c:a flac -strict -2",
                          path("clip.mp4")));
    EXPECT_NEAR(LoudnessAnalyzer::analyze(path("clip.mp4")).peakDBFS, 20 * std::log10(0.125 * 0.5), 0.01);
    ASSERT_TRUE(runFFmpeg("-f lavfi -i testsrc=d=1:s=64x48", path("silent film.mp4")));
    EXPECT_EQ(errorOf([&] { LoudnessAnalyzer::analyze(path("silent film.mp4")); }),
              "No audio stream in silent film.mp4");

    // Garbage over a stretch in the middle of an MP3: the rest is measured.
    ASSERT_TRUE(runFFmpeg("-f lavfi -i sine=f=440:d=20 -b:a 128k", path("broken.mp3")));
    QFile mp3(path("broken.mp3"));
    ASSERT_TRUE(mp3.open(QIODevice::ReadWrite));
    mp3.seek(mp3.size() / 2);
    mp3.write(QByteArray(6000, '\xff'));
    mp3.close();
    ASSERT_TRUE(runFFmpeg({"-i", path("broken.mp3"), "-c:a", "pcm_f32le", path("broken.wav")}));
    const AnalysisResult broken = LoudnessAnalyzer::analyze(path("broken.mp3"));
    const AnalysisResult byFFmpeg = LoudnessAnalyzer::analyze(path("broken.wav"));
    EXPECT_NEAR(broken.duration, 20.0, 0.5);
    EXPECT_EQ(broken.duration, byFFmpeg.duration);
    EXPECT_NEAR(broken.loudest20sLUFS, byFFmpeg.loudest20sLUFS, 0.02);
}

TEST_F(AudioLoaderTest, DecoderStreamsToATemporaryFileAndItsFailuresAreReported) {
    QTemporaryDir bin;
    writeMonoWav(path("src.wav"), noise(1, 0.5, 4800), 48000);
    // Stands in for ffmpeg: floods standard error, then lets the real ffmpeg do the work.
    const QString flooding = writeScript(bin.path(), "flooding-ffmpeg",
                                         "head -c 3000000 /dev/zero | tr '\\0' x >&2\n"
                                         "exec ffmpeg -nostdin -v error \"$@\"");
    {
        FFmpegDecodedFile decoded(path("src.wav"), flooding);
        EXPECT_EQ(temporaryFilesIn(scratch.path()), QStringList{QFileInfo(decoded.path()).fileName()});
        EXPECT_EQ(readFirstChannel(decoded.path()), readFirstChannel(path("src.wav")));
    }
    EXPECT_TRUE(filesIn(scratch.path()).isEmpty());

    const QString silent = writeScript(bin.path(), "silent-ffmpeg", "exit 0");
    EXPECT_EQ(errorOf([&] { FFmpegDecodedFile d(path("src.wav"), silent); }), "Cannot decode src.wav");
    const QString failing = writeScript(bin.path(), "failing-ffmpeg", "echo partial; exit 1");
    const Error failed = failureOf([&] { FFmpegDecodedFile d(path("src.wav"), failing); });
    EXPECT_EQ(failed, (Error{Error::Kind::decode, "Cannot decode src.wav", path("src.wav"), std::nullopt}));
    const Error launch = failureOf([&] { FFmpegDecodedFile d(path("src.wav"), bin.filePath("missing-ffmpeg")); });
    EXPECT_EQ(launch.kind, Error::Kind::decode);
    EXPECT_TRUE(launch.message.startsWith("Cannot start ffmpeg: "));
    // A temporary folder that is a file is the disk's failure, not a stop.
    const Error unwritable = [&] {
        const TemporaryFolder inAFile(path("src.wav"));
        return failureOf([&] { FFmpegDecodedFile d(path("src.wav"), flooding); });
    }();
    EXPECT_EQ(unwritable.kind, Error::Kind::file) << unwritable.message.toStdString();
    // What neither the reader nor the real ffmpeg can decode names the file.
    QDir(dir.path()).mkdir("folder.with.dots");
    const QString bad = writeFile(dir.filePath("folder.with.dots/not audio.xyz"), "this is not audio at all\n");
    EXPECT_EQ(errorOf([&] { LoudnessAnalyzer::analyze(bad); }), "Cannot decode not audio.xyz");
    EXPECT_TRUE(filesIn(scratch.path()).isEmpty());
}

TEST_F(AudioLoaderTest, FilesOf2To32FramesAreRejected) {
    // An 8-bit W64 file whose data chunk claims 2^32 frames; the file is sparse.
    const QString big = path("huge.w64");
    writeAudio(big, {std::vector<float>(8, 0.25f)}, 8000, SF_FORMAT_W64 | SF_FORMAT_PCM_U8);
    QFile f(big);
    ASSERT_TRUE(f.open(QIODevice::ReadWrite));
    QByteArray header = f.read(4096);
    const int data = header.indexOf(QByteArray("data\xf3\xac\xd3\x11", 8));
    ASSERT_GT(data, 0);
    const qint64 dataStart = data + 24;
    const uint64_t frames = uint64_t{1} << 32;
    const uint64_t chunkSize = 24 + frames;
    const uint64_t riffSize = uint64_t(dataStart) + frames;
    f.seek(data + 16);
    f.write(reinterpret_cast<const char*>(&chunkSize), 8);
    f.seek(16);
    f.write(reinterpret_cast<const char*>(&riffSize), 8);
    ASSERT_TRUE(f.resize(qint64(riffSize)));
    f.close();

    EXPECT_EQ(errorOf([&] { LoudnessAnalyzer::analyze(big); }),
              "Audio file is too long: 4294967296 frames (at most 4294967295 can be analysed)");
    EXPECT_EQ(failureOf([&] { support::loadMono(big); }).kind, Error::Kind::tooLong);
}
