#include "analysis/LoudnessAnalyzer.h"
#include "support/AudioFixtures.h"

#include <ebur128.h>
#include <numbers>

using namespace fixtures;

namespace {

double referenceIntegrated(const std::vector<float>& samples, int64_t rate) {
    ebur128_state* st = ebur128_init(1, static_cast<unsigned long>(rate), EBUR128_MODE_I);
    ebur128_add_frames_float(st, samples.data(), samples.size());
    double loudness = 0.0;
    ebur128_loudness_global(st, &loudness);
    ebur128_destroy(&st);
    return loudness;
}

// Speech-like: syllables of band-limited noise at changing levels, with
// pauses, some digital silence and a long quiet murmur that only the relative
// gate removes.
std::vector<float> speechLike(uint32_t seed, int64_t rate, double seconds) {
    const auto n = static_cast<int64_t>(seconds * static_cast<double>(rate));
    const auto raw = noise(seed, 1.0, n);
    std::vector<float> out(static_cast<size_t>(n));
    float smoothed = 0.0f;
    for (int64_t i = 0; i < n; ++i) {
        const double t = double(i) / double(rate);
        smoothed = 0.7f * smoothed + 0.3f * raw[static_cast<size_t>(i)];
        const double syllable = std::max(0.0, std::sin(2.0 * std::numbers::pi * 3.1 * t));
        double level = 0.5 * (0.6 + 0.4 * std::sin(2.0 * std::numbers::pi * 0.13 * t)) * syllable;
        if (std::fmod(t, 7.0) > 5.5)
            level = 0.0; // pause
        if (t > seconds * 0.6)
            level *= 0.02; // murmur, about 34 dB down
        out[static_cast<size_t>(i)] = static_cast<float>(level * smoothed);
    }
    return out;
}

} // namespace

TEST(ReferenceMeter, WholeFileGatedLoudnessMatchesLibebur128) {
    QTemporaryDir dir;
    for (int64_t rate : {int64_t{44100}, int64_t{48000}}) {
        const std::vector<std::pair<const char*, std::vector<float>>> cases{
            {"noise", noise(11, 0.4, rate * 12)},
            {"tones", concat({sine(100.0, 0.5, rate, rate * 4), sine(1000.0, 0.3, rate, rate * 4),
                              sine(6000.0, 0.2, rate, rate * 4)})},
            {"speech", speechLike(5, rate, 40.0)},
            {"gaps", concat({noise(12, 0.3, rate * 5), silence(rate * 6), noise(13, 0.001, rate * 8),
                             noise(14, 0.2, rate * 3)})},
        };
        for (const auto& [name, samples] : cases) {
            const QString path = dir.filePath(QStringLiteral("%1-%2.wav").arg(name).arg(rate));
            writeMonoWav(path, samples, rate);
            const AnalysisResult r = LoudnessAnalyzer::analyze(path);
            const double ours = LoudnessAnalyzer::gatedLoudness(r.energy, 0, r.totalSamples, rate);
            const double reference = referenceIntegrated(readFirstChannel(path), rate);
            EXPECT_NEAR(ours, reference, 0.02) << name << " at " << rate;
        }
    }
}
