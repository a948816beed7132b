// What the user is promised, measured by analysing what was written, with
// the real encoder.

#include "ListFixtures.h"
#include "analysis/LoudnessAnalyzer.h"
#include "editing/SegmentGainEvaluation.h"
#include "io/AudioReader.h"
#include "session/ExportSession.h"
#include "support/ReferencePeaks.h"

#include <optional>

namespace {

// A 48 kHz stereo WAV of `seconds`, each frame's left and right from `frame(t)`.
template <typename Frame>
QString writeStereo(const QTemporaryDir& dir, const QString& name, double seconds, Frame frame) {
    const int64_t rate = 48000;
    const auto n = static_cast<size_t>(seconds * rate);
    std::vector<float> left(n), right(n);
    for (size_t i = 0; i < n; ++i) {
        const auto [l, r] = frame(static_cast<double>(i) / rate);
        left[i] = static_cast<float>(l);
        right[i] = static_cast<float>(r);
    }
    const QString path = dir.filePath(name);
    fixtures::writeWav(path, {left, right}, rate);
    return path;
}

// Three tones whose level drifts by a few dB, nothing near Nyquist, so
// resampling keeps all of its energy.
QString writeMusic(const QTemporaryDir& dir, const QString& name, double seconds, double amplitude) {
    return writeStereo(dir, name, seconds, [amplitude](double t) {
        const double level = amplitude * (0.7 + 0.3 * std::sin(2 * M_PI * t / 7.0));
        const double x =
            std::sin(2 * M_PI * 220 * t) + 0.5 * std::sin(2 * M_PI * 1000 * t) + 0.25 * std::sin(2 * M_PI * 5000 * t);
        return std::pair{level * x / 1.75, level * x / 1.75 * 0.9};
    });
}

// Short loud bursts over a quiet bed, like drum hits: a limiter takes little
// of its loudness, which more gain before it can win back.
QString writeHits(const QTemporaryDir& dir, const QString& name, double seconds) {
    return writeStereo(dir, name, seconds, [](double t) {
        const double hit = std::fmod(t, 0.5) < 0.004 ? 0.6 * std::sin(2 * M_PI * 1000 * t) : 0.0;
        const double x = 0.05 * std::sin(2 * M_PI * 220 * t) + hit;
        return std::pair{x, x};
    });
}

// Exports the one file the state holds and returns what was written.
ExportedFile exportOne(BatchSession& state, const QTemporaryDir& dir, ExportFormat format, SampleRate rate,
                       bool limiter, const QString& folder) {
    ExportSession exports(state);
    exports.setFormat(format);
    exports.setSampleRate(rate);
    std::optional<ExportRun::Summary> result;
    QObject::connect(&exports, &ExportSession::finished, [&](const ExportRun::Summary& r) { result = r; });
    exports.start(limiter, dir.filePath(folder), ExistingOutputs::keepBoth);
    EXPECT_TRUE(fixtures::waitUntil([&] { return result.has_value(); }));
    EXPECT_TRUE(result && result->files.size() == 1 && result->files[0].written);
    return result && result->files.size() == 1 && result->files[0].written ? *result->files[0].written : ExportedFile{};
}

} // namespace

TEST(ExportPromiseTest, Mp3FlacSegmentsAndTheLimiterKeepTheirPromises) {
    QTemporaryDir dir;
    const QString source = writeMusic(dir, "Song.wav", 40.0, 0.1);
    const auto listed = measuredSession({source});
    BatchSession& state = *listed;
    AudioFileItem& item = *state.files().front();
    const double finalLUFS = *item.finalLUFS();

    const QString mp3 = exportOne(state, dir, ExportFormat::mp3_320, SampleRate::rate48000, false, "mp3").path;
    EXPECT_NEAR(LoudnessAnalyzer::analyze(mp3).loudest20sLUFS, finalLUFS, 0.3);
    const QString flac = exportOne(state, dir, ExportFormat::flac, SampleRate::rate44100, false, "flac").path;
    EXPECT_NEAR(LoudnessAnalyzer::analyze(flac).loudest20sLUFS, finalLUFS, 0.1);
    const QString up = exportOne(state, dir, ExportFormat::wav16, SampleRate::rate96000, false, "wav96").path;
    EXPECT_NEAR(LoudnessAnalyzer::analyze(up).loudest20sLUFS, finalLUFS, 0.05);
    const AudioReader upsampled(up);
    EXPECT_EQ(upsampled.sampleRate(), 96000);
    EXPECT_NEAR(static_cast<double>(upsampled.frames()) / 96000, 40.0, 0.01);

    // Three segments at -6, 0 and +4 dB: the middle of each sits at its offset.
    item.segmentEdits().addSeparator(13.0);
    item.segmentEdits().addSeparator(26.0);
    item.segmentEdits().setSegmentGain(0, -6.0);
    item.segmentEdits().setSegmentGain(2, 4.0);
    const QString segmented = exportOne(state, dir, ExportFormat::wav24, SampleRate::rate48000, false, "seg").path;
    const std::pair<double, double> middles[] = {{3.0, 10.0}, {16.0, 23.0}, {29.0, 37.0}};
    const double offsets[] = {-6.0, 0.0, 4.0};
    for (int s = 0; s < 3; ++s) {
        const auto [from, to] = middles[s];
        const double expected =
            std::get<2>(fixtures::referencePeaks(source, from, to)) + item.correctionDB() + offsets[s];
        EXPECT_NEAR(std::get<2>(fixtures::referencePeaks(segmented, from, to)), expected, 0.05) << "segment " << s;
    }
    // The table's final figure counts the gains as libebur128 reads the edited
    // file: its loudest 20 s (the last, with the +4 dB segment), or all of it.
    EXPECT_NEAR(*item.editedFinalLUFS(), std::get<2>(fixtures::referencePeaks(segmented, 20.0, 40.0)), 0.2);
    item.setNormalizeBy(NormalizeBy::integrated);
    EXPECT_NEAR(*item.editedFinalLUFS(), std::get<2>(fixtures::referencePeaks(segmented)), 0.2);
    item.setNormalizeBy(NormalizeBy::loudest);
    // A one-second fade on the second separator: each block of a float export
    // gets the gain that playback gives it.
    item.segmentEdits().setFadeDuration(item.segmentEdits().snapshot().separators[1].id, 1000.0);
    const QString faded = exportOne(state, dir, ExportFormat::wav32, SampleRate::rate48000, false, "fade").path;
    const std::vector<float> in = fixtures::readFirstChannel(source), out = fixtures::readFirstChannel(faded);
    const std::vector<float> gains = SegmentGainEvaluation::computeGainEnvelope(
        item.segmentEdits().snapshot(), item.correctionDB(), 48000, static_cast<int64_t>(in.size()));
    ASSERT_EQ(out.size(), in.size());
    double worst = 0;
    for (size_t i = 25 * 48000; i < 27 * 48000; ++i)
        if (std::abs(in[i]) > 0.01f)
            worst = std::max(worst, std::abs(out[i] / in[i] / gains[i / SegmentGainEvaluation::blockSize] - 1.0));
    EXPECT_LT(worst, 1e-5);

    // Hits pushed 8 dB over full scale: the limiter holds the true peak under
    // the -1 dBTP ceiling (+0.1 dB), and the gain before it is raised once
    // so that the output measures what its name promises, edited or not.
    const QString hitsPath = writeHits(dir, "Hits.wav", 30.0);
    const auto hot = measuredSession({hitsPath}, 8.0 - LoudnessAnalyzer::analyze(hitsPath).peakDBFS);
    AudioFileItem& hits = *hot->files().front();
    for (bool edited : {false, true}) {
        if (edited)
            hits.segmentEdits().addSeparator(10.0);
        for (ExportFormat format : {ExportFormat::wav24, ExportFormat::flac}) {
            const ExportedFile limited = exportOne(*hot, dir, format, SampleRate::rate48000, true,
                                                   QStringLiteral("lim%1-%2").arg(edited).arg(keyword(format)));
            const std::string where = keyword(format).toStdString() + (edited ? " rendered" : " encoded");
            EXPECT_FALSE(limited.offTarget) << where;
            EXPECT_EQ(QFileInfo(limited.path).fileName(),
                      ExportNaming::fileName("Hits", *hits.finalLUFS(), false, format));
            EXPECT_NEAR(LoudnessAnalyzer::analyze(limited.path).loudest20sLUFS, *hits.finalLUFS(), 0.2) << where;
            const auto [truePeak, samplePeak, integrated] = fixtures::referencePeaks(limited.path);
            EXPECT_LE(truePeak, -1.0 + 0.1) << where;
            // The last frames, still inside the limiter when the source ends,
            // come out whole, only louder (its release long over).
            const std::vector<float> in = fixtures::readFirstChannel(hitsPath),
                                     out = fixtures::readFirstChannel(limited.path);
            ASSERT_EQ(out.size(), in.size()) << where;
            double inOut = 0, inIn = 0, worst = 0;
            for (size_t i = in.size() - 1500; i < in.size(); ++i)
                inOut += double(in[i]) * out[i], inIn += double(in[i]) * in[i];
            for (size_t i = in.size() - 1500; i < in.size(); ++i)
                worst = std::max(worst, std::abs(out[i] - inOut / inIn * in[i]));
            EXPECT_LT(worst, 1e-3) << where;
        }
    }

    // Dense tones 12 dB over: no gain reaches the promise under the ceiling;
    // the file is named with what it measures, and its note says why.
    const auto dense = measuredSession({writeMusic(dir, "Dense.wav", 30.0, 0.9)}, 12.0);
    const ExportedFile held = exportOne(*dense, dir, ExportFormat::wav24, SampleRate::rate48000, true, "held");
    EXPECT_TRUE(held.offTarget);
    const double measured = LoudnessAnalyzer::analyze(held.path).loudest20sLUFS;
    EXPECT_LT(measured, *dense->files().front()->finalLUFS() - 0.2);
    EXPECT_NEAR(held.loudnessLUFS, measured, 1e-9);
    EXPECT_EQ(QFileInfo(held.path).fileName(), ExportNaming::fileName("Dense", measured, false, ExportFormat::wav24));
    EXPECT_EQ(held.note, QStringLiteral("the limiter's ceiling holds it at %1 LUFS").arg(measured, 0, 'f', 1));
}

TEST(ExportPromiseTest, TruePeaksStayUnderTheCeilingInEveryFormat) {
    QTemporaryDir dir;
    // Overs to +3.5 dBFS in a float source, lowered 2 dB by its correction;
    // and music 10 dB over full scale.
    const std::pair<QString, double> sources[] = {{writeMusic(dir, "Overs.wav", 20.0, 1.5), -2.0},
                                                  {writeMusic(dir, "Music.wav", 20.0, 0.9), 10.0}};
    for (size_t which : {0, 1}) {
        const auto one = measuredSession({sources[which].first}, sources[which].second);
        // Every lossy codec on the music, MP3 on the overs; Opus at the one rate it takes.
        for (ExportFormat format : {ExportFormat::wav16, ExportFormat::flac, ExportFormat::mp3_320,
                                    ExportFormat::vorbis, ExportFormat::opus, ExportFormat::aac}) {
            const auto rate = format == ExportFormat::opus ? SampleRate::rate48000 : SampleRate::rate44100;
            if (which == 0 && format > ExportFormat::flac)
                continue;
            for (bool limiter : {true, false}) {
                const QString folder = QStringLiteral("%1 %2 %3").arg(which).arg(keyword(format)).arg(limiter);
                const std::string where = folder.toStdString();
                const ExportedFile out = exportOne(*one, dir, format, rate, limiter, folder);
                const auto [truePeak, samplePeak, integrated] = fixtures::referencePeaks(out.path);
                EXPECT_LE(truePeak, -1.0 + 0.1) << where;
                EXPECT_LT(samplePeak, 32767.0f / 32768.0f) << where;
                // Without the limiter the gain is lowered until the true peak sits at the ceiling.
                EXPECT_TRUE(limiter || truePeak > -1.6) << where;
                EXPECT_NEAR(LoudnessAnalyzer::analyze(out.path).loudest20sLUFS, out.loudnessLUFS, 0.2) << where;
            }
        }
    }

    // Eight channels to MP3 at each rate: down-mixed before the gain, so the
    // stereo file measures what its name says.
    std::vector<std::vector<float>> surround;
    for (int c = 0; c < 8; ++c)
        surround.push_back(fixtures::sine(200.0 + 150.0 * c, c == 3 ? 0.5 : 0.05 + 0.02 * c, 48000, 48000 * 12));
    fixtures::writeWav(dir.filePath("Surround.wav"), surround, 48000);
    const auto wide = measuredSession({dir.filePath("Surround.wav")});
    for (ExportFormat format : {ExportFormat::mp3_320, ExportFormat::mp3_192, ExportFormat::mp3_128}) {
        const ExportedFile mp3 = exportOne(*wide, dir, format, SampleRate::rate48000, true, keyword(format));
        EXPECT_EQ(QFileInfo(mp3.path).fileName(), "Surround (-16LUFS).mp3");
        EXPECT_EQ(AudioReader(mp3.path).channels(), 2);
        EXPECT_NEAR(LoudnessAnalyzer::analyze(mp3.path).loudest20sLUFS, -16.0, 0.2) << keyword(format).toStdString();
    }
}

// Forty seconds of quieter talk before twenty of loud music: normalized
// by its integrated loudness, the file reaches the target on every meter
// while its loudest stretch lies well above it; the name says so too.
TEST(ExportPromiseTest, NormalizedByIntegratedLoudnessEveryMeterReadsTheTarget) {
    QTemporaryDir dir;
    const QString source = dir.filePath("Show.wav");
    const auto channel = [](uint32_t seed) {
        return fixtures::concat({fixtures::noise(seed, 0.09, 48000 * 40), fixtures::noise(seed + 1, 0.2, 48000 * 20)});
    };
    fixtures::writeWav(source, {channel(1), channel(3)}, 48000);
    BatchSession state(BatchSession::AnalysisOptions{analyzeFile, 1});
    state.setTargetLUFS(-14.0);
    state.addFiles(urlsOf({source}));
    ASSERT_TRUE(waitForAnalyses(state));
    AudioFileItem& item = *state.files().front();
    const double byLoudest = item.correctionDB();
    state.setNormalizeBy(NormalizeBy::integrated);
    EXPECT_GT(item.correctionDB() - byLoudest, 2.5);

    const ExportedFile out = exportOne(state, dir, ExportFormat::wav24, SampleRate::rate48000, true, "out");
    EXPECT_TRUE(out.path.endsWith("Show (-14LUFS).wav")) << out.path.toStdString();
    EXPECT_NEAR(std::get<2>(fixtures::referencePeaks(out.path)), -14.0, 0.1);
    EXPECT_GT(LoudnessAnalyzer::analyze(out.path).loudest20sLUFS, -12.0);
}
