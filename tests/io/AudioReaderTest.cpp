#include "io/AudioReader.h"
#include "io/DurationText.h"

#include "support/AudioFixtures.h"

#include <sndfile.h>
#include <tuple>

using namespace fixtures;

namespace {

std::vector<float> readAll(AudioReader& reader, int64_t chunk = 1000) {
    std::vector<float> all, buffer(static_cast<size_t>(chunk * reader.channels()));
    while (const int64_t got = reader.readInterleaved(buffer.data(), chunk))
        all.insert(all.end(), buffer.begin(), buffer.begin() + got * reader.channels());
    return all;
}

std::vector<float> readWithLibsndfile(const QString& path) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.toLocal8Bit().constData(), SFM_READ, &info);
    std::vector<float> all(static_cast<size_t>(info.frames * info.channels));
    sf_readf_float(file, all.data(), info.frames);
    sf_close(file);
    return all;
}

} // namespace

TEST(AudioReaderTest, IntegerAndFloatSamplesAreThoseLibsndfileReads) {
    QTemporaryDir dir;
    // Full scale both ways, and noise: every integer width scaled as libsndfile scales it.
    const auto left = concat({{1.0f, -1.0f, 0.0f}, noise(1, 0.99, 20000)});
    const auto right = concat({{-1.0f, 0.5f, 1e-6f}, noise(2, 0.99, 20000)});
    const std::pair<const char*, int> kinds[] = {
        {"16.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16},   {"24.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24},
        {"32.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_32},   {"f.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT},
        {"16.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16}, {"24.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24},
        {"8.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_S8}};
    for (const auto& [name, format] : kinds) {
        const QString path = dir.filePath(name);
        writeAudio(path, {left, right}, 44100, format);
        AudioReader reader(path);
        EXPECT_EQ(std::tuple(reader.sampleRate(), reader.channels(), reader.frames(), reader.framesExact()),
                  std::tuple(int64_t{44100}, 2, int64_t{20003}, true))
            << name;
        EXPECT_EQ(readAll(reader, 777), readWithLibsndfile(path)) << name;
    }
}

TEST(AudioReaderTest, SeeksToTheFrameAskedFor) {
    QTemporaryDir dir;
    const QString wav = dir.filePath("music.wav");
    ASSERT_TRUE(runFFmpeg({"-f", "lavfi", "-i", "anoisesrc=d=6:c=pink:r=44100:a=0.3,lowpass=4000", "-ac", "2", "-c:a",
                           "pcm_s16le", wav}));
    // Lossless: exactly the frame; lossy: within one codec frame (at most 1152 samples).
    const std::pair<const char*, int64_t> kinds[] = {{"wav", 0},    {"flac", 0},   {"mp3", 1152},
                                                     {"ogg", 1024}, {"opus", 960}, {"m4a", 1024}};
    for (const auto& [extension, tolerance] : kinds) {
        const QString path = dir.filePath(QStringLiteral("music.%1").arg(extension));
        if (path != wav) {
            ASSERT_TRUE(runFFmpeg({"-i", wav, path}));
        }
        AudioReader reader(path);
        const std::vector<float> whole = readAll(reader);
        const int channels = reader.channels();
        for (const int64_t target : {int64_t{0}, int64_t{1}, int64_t{100003}, reader.sampleRate() * 4}) {
            ASSERT_TRUE(reader.seek(target)) << extension << " " << target;
            std::vector<float> got(static_cast<size_t>(4096 * channels));
            ASSERT_EQ(reader.readInterleaved(got.data(), 4096), 4096);
            // The offset at which what came out best matches the sequential read.
            int64_t bestLag = 0;
            double bestError = 1e300;
            for (int64_t lag = -tolerance - 64; lag <= tolerance + 64; ++lag) {
                if (target + lag < 0 || target + lag + 4096 > static_cast<int64_t>(whole.size()) / channels)
                    continue;
                double error = 0;
                for (size_t i = 2048; i < got.size(); ++i)
                    error += std::pow(got[i] - whole[static_cast<size_t>((target + lag) * channels) + i], 2);
                if (error < bestError)
                    std::tie(bestError, bestLag) = std::pair(error, lag);
            }
            EXPECT_LE(std::abs(bestLag), tolerance) << extension << " " << target;
            if (tolerance == 0) {
                EXPECT_EQ(bestError, 0.0) << extension << " " << target;
            }
        }
    }
}

TEST(AudioReaderTest, SamplesThatAreNotNumbersComeOutAsSilenceAndAreCounted) {
    QTemporaryDir dir;
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    writeAudio(dir.filePath("odd.wav"), {{0.5f, nan, -0.25f, inf}, {-inf, 0.125f, nan, 1.0f}}, 48000,
               SF_FORMAT_WAV | SF_FORMAT_FLOAT);
    AudioReader odd(dir.filePath("odd.wav"));
    EXPECT_EQ(readAll(odd), (std::vector<float>{0.5f, 0.0f, 0.0f, 0.125f, -0.25f, 0.0f, 0.0f, 1.0f}));
    EXPECT_EQ(odd.nonFiniteSamples(), 4);
}

TEST(DurationTextTest, RoundsToTenthsFirstAndShowsHours) {
    EXPECT_EQ(durationText(59.96), "1:00.0");
    EXPECT_EQ(durationText(83.54), "1:23.5");
    EXPECT_EQ(durationText(3725.0), "1:02:05.0");
    EXPECT_EQ(durationText(-1.0), "0:00.0");
}
