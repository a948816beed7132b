#include "analysis/AnalysisErrors.h"
#include "analysis/AudioLoader.h"
#include "analysis/LoudnessAnalyzer.h"
#include "analysis/SignalMeasurement.h"
#include "support/AnalysisSupport.h"
#include "support/AudioFixtures.h"
#include "support/QtPrinters.h"

#include <QElapsedTimer>
#include <sndfile.h>
#include <tuple>

using namespace fixtures;

namespace {

class AnalyzerTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    QString path(const QString& name) const { return dir.filePath(name); }
};

void expectInvariants(const AnalysisResult& r) {
    EXPECT_EQ(r.times.size(), r.loudnessCurve.size());
    EXPECT_EQ(r.envelope.bucketCount, std::min<int64_t>(std::llround(r.duration * double(r.sampleRate)), 2000));
}

} // namespace

TEST_F(AnalyzerTest, StreamingGivesExactlyTheWholeBufferFigures) {
    // Three channels at 44.1 kHz: noise, a tone, and a quiet stretch.
    const int64_t n = 44100 * 26 + 123;
    const auto a = concat({noise(1, 0.8, 44100 * 12), noise(2, 0.02, 44100 * 14 + 123)});
    const auto b = sine(440.0, 0.6, 44100, n);
    const auto c = noise(3, 0.3, n);
    writeWav(path("three.wav"), {a, b, c}, 44100);
    for (ChannelMix mix : {ChannelMix::sum, ChannelMix::average}) {
        const AnalysisResult whole = LoudnessAnalyzer::analyze(path("three.wav"), mix, 44100 * 30);
        EXPECT_EQ(whole.duration, double(n) / 44100);
        expectInvariants(whole);
        for (int64_t chunk : {int64_t{65536}, int64_t{777}})
            EXPECT_TRUE(LoudnessAnalyzer::analyze(path("three.wav"), mix, chunk) == whole) << "chunk " << chunk;
    }
    // The classic mix measures the channels' average as one signal.
    const support::MonoAudio mono = support::loadMono(path("three.wav"));
    const AnalysisResult averaged = LoudnessAnalyzer::analyze(path("three.wav"), ChannelMix::average);
    const AnalysisResult inMemory = support::analyzeSamples(mono.samples, mono.sampleRate);
    EXPECT_TRUE(std::tie(averaged.loudnessCurve, averaged.figures, averaged.loudest20sLUFS, averaged.envelope) ==
                std::tie(inMemory.loudnessCurve, inMemory.figures, inMemory.loudest20sLUFS, inMemory.envelope));
    // A short 16-bit file one frame at a time.
    writeAudio(path("short.wav"), {noise(4, 0.5, 9000), noise(5, 0.5, 9000)}, 8000, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    EXPECT_TRUE(LoudnessAnalyzer::analyze(path("short.wav"), ChannelMix::sum, 1) ==
                LoudnessAnalyzer::analyze(path("short.wav")));
}

TEST_F(AnalyzerTest, CancellingChannelsAreSilentOnlyInTheClassicMix) {
    const auto s = noise(9, 0.9, 48000 * 4);
    std::vector<float> inverted(s.size());
    std::transform(s.begin(), s.end(), inverted.begin(), [](float x) { return -x; });
    writeWav(path("cancel.wav"), {s, inverted}, 48000);
    writeWav(path("same.wav"), {s, s}, 48000);
    const AnalysisResult r = LoudnessAnalyzer::analyze(path("cancel.wav"), ChannelMix::average);
    EXPECT_EQ(r.loudest20sLUFS, -70.0);
    ASSERT_FALSE(r.loudnessCurve.empty());
    EXPECT_TRUE(std::all_of(r.loudnessCurve.begin(), r.loudnessCurve.end(), [](double v) { return v == -70.0; }));
    EXPECT_EQ(r.envelope.maxValues, std::vector<float>(2000, 0.0f));
    // The peak is the channels' own, in both mixes; the sum hears both channels.
    const float largest =
        std::abs(*std::max_element(s.begin(), s.end(), [](float x, float y) { return std::abs(x) < std::abs(y); }));
    EXPECT_EQ(r.peakDBFS, static_cast<double>(20.0f * std::log10(largest)));
    const AnalysisResult summed = LoudnessAnalyzer::analyze(path("cancel.wav"));
    EXPECT_EQ(summed.loudest20sLUFS, LoudnessAnalyzer::analyze(path("same.wav")).loudest20sLUFS);
    EXPECT_GT(summed.loudest20sLUFS, -10.0);
}

TEST_F(AnalyzerTest, NotANumberIsSilenceAndWhatIsNoAudioIsRefusedAtOnce) {
    std::vector<float> clean = sine(440.0, 0.5, 48000, 48000 * 5), odd = clean;
    for (const size_t i : {1000, 2000, 3000}) {
        clean[i] = 0.0f;
        odd[i] = i == 2000 ? std::numeric_limits<float>::infinity() : std::numeric_limits<float>::quiet_NaN();
    }
    writeMonoWav(path("clean.wav"), clean, 48000);
    writeMonoWav(path("odd.wav"), odd, 48000);
    writeMonoWav(path("nan.wav"), std::vector<float>(48000, std::numeric_limits<float>::quiet_NaN()), 48000);
    AnalysisResult r = LoudnessAnalyzer::analyze(path("odd.wav"));
    EXPECT_EQ(r.nonFiniteSamples, 3);
    EXPECT_EQ(r.warning(), "3 samples were not numbers and were treated as silence");
    r.nonFiniteSamples = 0;
    EXPECT_EQ(r, LoudnessAnalyzer::analyze(path("clean.wav"))) << "measured as the clean file";
    const AnalysisResult nan = LoudnessAnalyzer::analyze(path("nan.wav"));
    EXPECT_EQ(std::tuple(nan.loudest20sLUFS, nan.peakDBFS, nan.truePeakDBTP, nan.nonFiniteSamples),
              std::tuple(-70.0, -120.0, -120.0, int64_t{48000}));

    // Samples of 1e30 are refused, not handed to ffmpeg, which would decode
    // the same. Found by fuzzing: a 95-byte WAV whose header made the reader
    // and then ffmpeg zero 2 GB each, for 15 s in all.
    writeMonoWav(path("huge.wav"), {0.5f, -1e30f}, 48000);
    writeFile(path("damaged.wav"),
              QByteArray::fromBase64("UklGRkZJAABXQVZFZm10OhAAAAABAAIAgLsAAADuAsIEABAATElTVBoAAHpJTkZPSVNGVA4AAABMYXZm"
                                     "NTkungAuMTAwAGRhdGEAAAAAAKYApiBMAUwwB6dxdCAgzw=="));
    writeMonoWav(path("empty.wav"), {}, 48000);
    const auto refusal = [&](const QString& name) { return errorOf([&] { LoudnessAnalyzer::analyze(path(name)); }); };
    EXPECT_EQ(refusal("huge.wav"),
              R"(Cannot read "huge.wav": its samples reach +600 dBFS, far beyond what audio can hold)");
    EXPECT_EQ(refusal("empty.wav"), "Audio file is empty");
    EXPECT_EQ(errorOf([] { support::analyzeSamples({}, 48000); }), "Audio file contains no samples");
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(refusal("damaged.wav"), "Cannot decode damaged.wav");
    EXPECT_EQ(refusal(QFileInfo(fixtures::writeFile(path("zero.wav"), "")).fileName()), "zero.wav is empty (0 bytes)");
    EXPECT_LT(clock.elapsed(), 3000) << "not a hang";
}

// Sums kept every stride give every figure that sums kept at every sample
// give (a stride of 1 is the per-sample computation), at every rate.
TEST_F(AnalyzerTest, StridedSumsGiveThePerSampleFiguresAtEveryRate) {
    for (int64_t rate : {8000, 11025, 22050, 44100, 48000, 88200, 96000, 192000}) {
        const int64_t stride = EnergyPrefix::strideFor(rate);
        if (rate % 100 == 0 || rate % 44100 == 0) {
            EXPECT_LE(rate / stride, 10) << rate << " Hz: a file keeps ten sums a second";
        }
        for (int64_t length : {rate * 20, rate * 199 / 10, stride + 1, rate * 23 + 123}) {
            const std::vector<float> s = concat(
                {noise(static_cast<uint32_t>(rate), 0.4, length / 2), sine(440.0, 0.2, rate, length - length / 2)});
            SignalMeasurement strided(length, rate), perSample(length, rate, 1);
            strided.add(s.data(), length / 3);
            strided.add(s.data() + length / 3, length - length / 3);
            perSample.add(s.data(), length);
            const AnalysisResult a = strided.finish(), b = perSample.finish();
            const auto where = [&] { return std::to_string(rate) + " Hz, " + std::to_string(length) + " samples"; };
            const auto figures = [](const AnalysisResult& r) {
                return std::tie(r.envelope, r.times, r.loudnessCurve, r.loudest20sLUFS, r.peakDBFS, r.windowStart,
                                r.windowEnd, r.duration, r.figures);
            };
            EXPECT_TRUE(figures(a) == figures(b)) << where();
        }
    }
}
