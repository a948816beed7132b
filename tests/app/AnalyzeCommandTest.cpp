#include "app/AnalyzeCommand.h"

#include "CommandRun.h"
#include "analysis/LoudnessAnalyzer.h"
#include "list/AppState.h"
#include "support/AudioFixtures.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace fixtures;

namespace {

CommandRun analyze(const QStringList& args) {
    return runCommand([](const QStringList& a, QTextStream& o, QTextStream& e) { return AnalyzeCommand::run(a, o, e); },
                      args);
}

class AnalyzeCommandTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    QString loud, quiet, soft, bad;
    void SetUp() override {
        loud = dir.filePath("loud.wav");
        quiet = dir.filePath("quiet.wav");
        soft = dir.filePath("soft.wav");
        bad = dir.filePath("broken.flac");
        writeMonoWav(loud, noise(1, 0.9, 48000 * 3), 48000);
        writeMonoWav(quiet, noise(2, 0.05, 44100 * 25), 44100);
        writeMonoWav(soft, concat({noise(3, 0.5, 48000 * 30), noise(4, 0.005, 48000 * 20), noise(5, 0.5, 48000 * 20)}),
                     48000);
        fixtures::writeFile(bad, "fLaC but not really");
    }
};

} // namespace

TEST_F(AnalyzeCommandTest, RowsComeInTheOrderGivenWithErrorsInPlace) {
    const CommandRun r = analyze({quiet, bad, loud, dir.filePath("missing.wav"), soft});
    EXPECT_EQ(r.status, 1);
    const QStringList lines = r.out.split('\n', Qt::SkipEmptyParts);
    QStringList firstWords;
    for (const QString& line : lines)
        firstWords << line.section(' ', 0, 0);
    ASSERT_EQ(firstWords, (QStringList{"File", "quiet.wav", "broken.flac", "loud.wav", "missing.wav", "soft.wav"}));
    EXPECT_TRUE(lines[2].endsWith("Cannot decode broken.flac"));
    EXPECT_TRUE(lines[4].endsWith("File not found"));

    const AnalysisResult q = LoudnessAnalyzer::analyze(quiet);
    EXPECT_TRUE(lines[1].contains(QStringLiteral("%1 LUFS").arg(q.peakLUFS, 0, 'f', 1)));
    EXPECT_TRUE(lines[1].contains(QStringLiteral("%1 dBFS").arg(q.peakDBFS, 0, 'f', 1)));
    EXPECT_TRUE(lines[1].contains("0:25.0"));
    EXPECT_TRUE(lines[5].trimmed().endsWith("  1")); // one soft passage
    EXPECT_TRUE(lines[3].trimmed().endsWith("  0"));

    EXPECT_EQ(analyze({loud, soft}).status, 0);
}

TEST_F(AnalyzeCommandTest, JsonHasOneObjectPerFile) {
    const CommandRun r = analyze({"--json", soft, bad});
    EXPECT_EQ(r.status, 1);
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(r.out.toUtf8(), &parseError);
    ASSERT_EQ(parseError.error, QJsonParseError::NoError) << r.out.toStdString();
    const QJsonArray array = doc.array();
    ASSERT_EQ(array.size(), 2);

    const AnalysisResult s = LoudnessAnalyzer::analyze(soft);
    ASSERT_EQ(s.softPassageRanges().size(), 1u);
    const TimeRange passage = s.softPassageRanges()[0];
    const double correction = AppState::correctionFor(-16.0, s.peakLUFS); // the default target
    EXPECT_NEAR(passage.start, 30.0, 1.6);                                // the quiet 20 s
    EXPECT_NEAR(passage.end, 50.0, 1.6);
    EXPECT_EQ(array[0].toObject(), (QJsonObject{{"file", soft},
                                                {"sampleRate", 48000},
                                                {"channels", s.channels},
                                                {"duration", 70.0},
                                                {"peakLUFS", s.peakLUFS},
                                                {"peakDBFS", s.peakDBFS},
                                                {"integratedLUFS", s.figures.integratedLUFS},
                                                {"loudnessRangeLU", s.figures.loudnessRangeLU},
                                                {"truePeakDBTP", s.truePeakDBTP},
                                                {"maxMomentaryLUFS", s.figures.maxMomentaryLUFS},
                                                {"maxShortTermLUFS", s.figures.maxShortTermLUFS},
                                                {"windowStart", s.windowStart},
                                                {"windowEnd", s.windowEnd},
                                                {"softPassages", QJsonArray{QJsonArray{passage.start, passage.end}}},
                                                {"correctionDB", correction},
                                                {"finalLUFS", s.peakLUFS + correction}}));
    EXPECT_EQ(array[1].toObject(), (QJsonObject{{"file", bad}, {"error", "Cannot decode broken.flac"}}));
}

TEST(AnalyzeCommand, UsageErrors) {
    EXPECT_EQ(analyze({}).status, 2);
    const CommandRun unknown = analyze({"--loud"});
    EXPECT_TRUE(unknown.status == 2 && unknown.err.contains("unknown option '--loud'"));
    const CommandRun help = analyze({"--help"});
    EXPECT_TRUE(help.status == 0 && help.out.startsWith("Usage: sonivel analyze"));
    // After "--" a name that starts with a dash is a file.
    EXPECT_TRUE(analyze({"--", "-odd.wav"}).out.contains("-odd.wav  File not found"));
    for (const QStringList& mix : {QStringList{"--channels", "mono", "a.wav"}, QStringList{"a.wav", "--channels"}})
        EXPECT_EQ(analyze(mix).status, 2) << mix.join(' ').toStdString();
}

TEST_F(AnalyzeCommandTest, ColumnsStayAlignedWithWideCharacters) {
    const QString wide = dir.filePath(QStringLiteral("歌曲テスト.wav"));
    ASSERT_TRUE(QFile::copy(loud, wide));
    const QStringList lines = analyze({loud, wide}).out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 3);
    // Five wide characters take ten columns: the figures start where loud.wav's do.
    EXPECT_EQ(lines[1].indexOf("LUFS"), lines[2].indexOf("LUFS") + 5);
}
