#include "cli/AnalyzeCommand.h"

#include "CommandRun.h"
#include "analysis/LoudnessAnalyzer.h"
#include "session/BatchSession.h"
#include "support/AudioFixtures.h"
#include "support/ReferencePeaks.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

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
    EXPECT_TRUE(lines[1].contains(QStringLiteral("%1 LUFS").arg(q.loudest20sLUFS, 0, 'f', 1)));
    EXPECT_TRUE(lines[1].contains(QStringLiteral("%1 dBFS").arg(q.peakDBFS, 0, 'f', 1)));
    EXPECT_TRUE(lines[1].contains("0:25.0"));
    EXPECT_TRUE(lines[5].trimmed().endsWith("  1")); // one soft passage
    EXPECT_TRUE(lines[3].trimmed().endsWith("  0"));

    EXPECT_EQ(analyze({loud, soft}).status, 0);
    // Measured once, a file is read from the analysis cache until it changes.
    spoil(quiet);
    EXPECT_EQ(analyze({quiet}).out.split('\n')[1].simplified(), lines[1].simplified());
    EXPECT_EQ(analyze({"--no-cache", quiet}).status, 1);
    // A folder: the audio files under it, in path order, named below it.
    const QString folder = QRegularExpression::escape(QFileInfo(dir.path()).fileName());
    EXPECT_TRUE(analyze({dir.path()})
                    .out.contains(QRegularExpression(
                        QString("\n%1/broken.flac .*\n%1/loud.wav .*\n%1/quiet.wav .*\n%1/soft").arg(folder))));
}

TEST(AnalyzeCommand, UsageErrors) {
    EXPECT_EQ(analyze({}).status, 2);
    const CommandRun unknown = analyze({"--loud"});
    EXPECT_TRUE(unknown.status == 2 && unknown.err.contains("unknown option '--loud'"));
    const CommandRun help = analyze({"--help"});
    EXPECT_TRUE(help.status == 0 && help.out.startsWith("Usage: sonivel analyze"));
    EXPECT_TRUE(help.out.contains("  atsc-a85      ATSC A/85 broadcast: -24 LUFS integrated, -2 dBTP\n"));
    // After "--" a name that starts with a dash is a file; the ranges' ends are taken.
    EXPECT_EQ(analyze({"--", "-odd.wav"}).out.split('\n', Qt::SkipEmptyParts).mid(1),
              QStringList{"-odd.wav  File not found"});
    EXPECT_EQ(analyze({"--target=-40", "--ceiling=-0.1", "--target", "-3", "--ceiling=-6", "x.wav"}).status, 1);
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

namespace {

// Rows of a CSV text as a spreadsheet reads them: a quoted field may hold
// commas and doubled quotes.
std::vector<QStringList> csvRows(const QString& text) {
    static const QRegularExpression field(R"re((?:^|,)(?:"((?:[^"]|"")*)"|([^,]*)))re");
    std::vector<QStringList> rows;
    for (const QString& line : text.split("\r\n", Qt::SkipEmptyParts)) {
        rows.emplace_back();
        for (const QRegularExpressionMatch& m : field.globalMatch(line))
            rows.back() << (m.hasCaptured(1) ? m.captured(1).replace("\"\"", "\"") : m.captured(2));
    }
    return rows;
}

} // namespace

TEST_F(AnalyzeCommandTest, CsvAndJsonHaveOneRecordPerFileEveryFigureAndThePresetsVerdict) {
    const QString odd = dir.filePath(QStringLiteral("Tom, \"the\" Böse ♪.wav"));
    ASSERT_TRUE(QFile::copy(quiet, odd));
    // Quiet noise with one full-scale click: raised to -14 LUFS, its true peak passes -2 dBTP.
    const QString spiky = dir.filePath("spiky, 2.wav");
    std::vector<float> clicked = noise(6, 0.05, 44100 * 10);
    clicked[44100 * 5] = 1.0f;
    writeMonoWav(spiky, clicked, 44100);

    const CommandRun r = analyze({"--csv", "--preset", "amazon", odd, spiky, bad, soft});
    EXPECT_EQ(r.status, 1);
    const std::vector<QStringList> rows = csvRows(r.out);
    ASSERT_EQ(rows.size(), 5u) << r.out.toStdString();
    const QStringList& header = rows[0];
    for (const QStringList& row : rows)
        EXPECT_EQ(row.size(), header.size());
    const auto at = [&](size_t row, const QString& column) { return rows[row][header.indexOf(column)]; };
    EXPECT_EQ(rows[1][0], odd);
    for (size_t row : {1u, 2u}) {
        const auto [truePeak, samplePeak, integrated] = referencePeaks(rows[row][0]);
        EXPECT_NEAR(at(row, "Integrated (LUFS)").toDouble(), integrated, 0.02);
        // Full-band noise: true-peak meters' interpolators differ by up to
        // 0.7 dB here (the meter's own accuracy is checked on its reference
        // signals); this tells the true peak from the sample peak 5 dB lower.
        EXPECT_NEAR(at(row, "True peak (dBTP)").toDouble(), truePeak, 1.0);
        EXPECT_NEAR(at(row, "Sample peak (dBFS)").toDouble(), 20 * std::log10(samplePeak), 0.01);
        // Amazon Music: -14 LUFS integrated.
        EXPECT_NEAR(at(row, "Final integrated (LUFS)").toDouble(), -14.0, 0.05);
        EXPECT_NEAR(at(row, "Final true peak (dBTP)").toDouble(),
                    at(row, "True peak (dBTP)").toDouble() + at(row, "Correction (dB)").toDouble(), 0.011);
    }
    EXPECT_EQ(at(1, "Meets Amazon Music"), "yes");
    const double over = at(2, "Final true peak (dBTP)").toDouble() + 2.0; // Amazon's ceiling is -2 dBTP
    EXPECT_EQ(at(2, "Meets Amazon Music"), QString("no: true peak %1 dB over the ceiling").arg(over, 0, 'f', 1));
    EXPECT_EQ(at(3, "Error"), "Cannot decode broken.flac");
    EXPECT_EQ(at(3, "Integrated (LUFS)"), "");

    // The JSON carries the same, and where the soft passage lies.
    const QJsonArray json =
        QJsonDocument::fromJson(analyze({"--json", "--preset", "amazon", odd, spiky, bad, soft}).out.toUtf8()).array();
    ASSERT_EQ(json.size(), 4);
    EXPECT_EQ(json[0]["file"].toString(), odd);
    for (const QString pair :
         {"integratedLUFS=Integrated (LUFS)", "truePeakDBTP=True peak (dBTP)", "correctionDB=Correction (dB)",
          "finalLUFS=Final integrated (LUFS)", "loudnessRangeLU=Loudness range (LU)", "peakLUFS=Peak 20s (LUFS)",
          "maxShortTermLUFS=Max short-term (LUFS)", "maxMomentaryLUFS=Max momentary (LUFS)",
          "peakDBFS=Sample peak (dBFS)", "duration=Duration (s)", "sampleRate=Sample rate (Hz)", "channels=Channels"})
        EXPECT_NEAR(json[0][pair.section(QLatin1Char('='), 0, 0)].toDouble(),
                    at(1, pair.section(QLatin1Char('='), 1)).toDouble(), 0.005)
            << pair.toStdString();
    EXPECT_TRUE(json[0]["meetsPreset"].toBool());
    EXPECT_TRUE(json[1]["whyNot"].toString().startsWith("true peak ")) << json[1]["whyNot"].toString().toStdString();
    EXPECT_EQ(json[2].toObject(), (QJsonObject{{"file", bad}, {"error", "Cannot decode broken.flac"}}));
    const QJsonArray passage = json[3]["softPassages"][0].toArray();
    EXPECT_NEAR(passage[0].toDouble(), 30.0, 1.6); // the quiet 20 s
    EXPECT_NEAR(passage[1].toDouble(), 50.0, 1.6);

    // An option that leaves the preset's values makes it Custom: no verdict.
    const std::vector<QStringList> custom =
        csvRows(analyze({"--csv", "--preset", "amazon", "--normalize-by", "loudest", odd}).out);
    ASSERT_EQ(custom.size(), 2u);
    EXPECT_FALSE(custom[0].join(',').contains("Meets"));
    EXPECT_NEAR(custom[1][custom[0].indexOf("Final Peak 20s (LUFS)")].toDouble(), -14.0, 0.05);
    EXPECT_EQ(analyze({"--csv", "--json", odd}).status, 2);
    // A silent file is given no correction.
    writeMonoWav(dir.filePath("silent.wav"), silence(48000 * 3), 48000);
    const std::vector<QStringList> silent = csvRows(analyze({"--csv", dir.filePath("silent.wav")}).out);
    EXPECT_EQ(silent[1][silent[0].indexOf("Correction (dB)")], "0.00");
}
