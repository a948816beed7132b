#include "analysis/AnalysisCache.h"
#include "analysis/AnalysisPacking.h"
#include "support/AudioFixtures.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <functional>

using namespace fixtures;

TEST(AnalysisPackingTest, AnHourFitsInAFewKilobytesWithEveryFigureExact) {
    AnalysisResult r;
    r.sampleRate = 44100, r.channels = 2, r.channelMix = ChannelMix::average, r.duration = 3600.25;
    r.windowStart = 1234.5, r.windowEnd = 1254.5, r.loudest20sLUFS = -13.37, r.peakDBFS = -0.11;
    r.truePeakDBTP = 0.42, r.figures = {-17.123456789, 7.7, -9.9, -11.1}, r.nonFiniteSamples = 3;
    r.envelope.bucketCount = 2000, r.source = {"mp3", 0, false, 192000}, r.gatingBlocks.firstBin = 1;
    for (uint32_t i = 0; i < 999; ++i) // the widest spread of blocks, some counts large
        r.gatingBlocks.counts.push_back(i * i * i % 40000);
    for (int i = 0; i < 2000; ++i) {
        r.envelope.maxValues.push_back(static_cast<float>(0.7 + 0.8 * std::sin(i * 0.01))); // past full scale too
        r.envelope.minValues.push_back(-r.envelope.maxValues.back() / 2);
    }
    for (int i = 0; i < 35971; ++i) { // every 100 ms, with some silence under the gate
        r.times.push_back(1.5 + 0.1 * i);
        r.loudnessCurve.push_back(i % 1000 < 50 ? -70.0 : -30.0 + 10.0 * std::sin(i / 50.0));
    }
    const QByteArray bytes = AnalysisPacking::pack(r);
    EXPECT_LT(bytes.size(), 20 * 1024);
    const std::optional<AnalysisResult> back = AnalysisPacking::unpack(bytes);
    ASSERT_TRUE(back);

    AnalysisResult figures = *back; // everything but the arrays, exactly
    figures.envelope.minValues = r.envelope.minValues, figures.envelope.maxValues = r.envelope.maxValues;
    figures.times = r.times, figures.loudnessCurve = r.loudnessCurve;
    EXPECT_EQ(figures, r);
    for (size_t i = 0; i < 2000; ++i) // within a step of the largest value's 16 bits
        ASSERT_TRUE(std::abs(back->envelope.maxValues[i] - r.envelope.maxValues[i]) <= 1.5 / 32767 &&
                    std::abs(back->envelope.minValues[i] - r.envelope.minValues[i]) <= 1.5 / 32767)
            << i;
    // Every 9th point of the curve, itself: 0.9 s apart, silence at the gate exactly.
    ASSERT_EQ(std::pair(back->times.size(), back->loudnessCurve.size()), std::pair(size_t{3997}, size_t{3997}));
    for (size_t i = 0; i < back->times.size(); ++i) {
        ASSERT_NEAR(back->times[i], r.times[9 * i], 1e-9) << i;
        ASSERT_NEAR(back->loudnessCurve[i], r.loudnessCurve[9 * i], 0.005) << i;
        ASSERT_TRUE(r.loudnessCurve[9 * i] != -70.0 || back->loudnessCurve[i] == -70.0) << i;
    }
    for (const qsizetype cut : {qsizetype{0}, qsizetype{9}, bytes.size() / 2, bytes.size() - 1})
        EXPECT_FALSE(AnalysisPacking::unpack(bytes.left(cut))) << cut;
    EXPECT_FALSE(AnalysisPacking::unpack(bytes + "x"));
}

namespace {

// The first value `sql` gives on a connection of the test's own to `file`
// (-1 for none); with `keep`, the connection stays open for the caller.
qint64 sqlValue(const QString& file, const QStringList& sql, QSqlDatabase* keep = nullptr) {
    const QString name = keep ? QStringLiteral("kept") : QStringLiteral("test");
    qint64 value = -1;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(file);
        EXPECT_TRUE(db.open());
        QSqlQuery q(db);
        for (const QString& statement : sql)
            value = q.exec(statement) && q.next() ? q.value(0).toLongLong() : -1;
        if (keep)
            return *keep = db, value;
    }
    QSqlDatabase::removeDatabase(name);
    return value;
}

class AnalysisCacheTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    const QString cacheFile = dir.filePath("cache/sonivel/analysis.sqlite");
    const QString a = writeTone(dir, "a.wav", 4.0, 0.25, 2);
    qint64 rows() const { return sqlValue(cacheFile, {"SELECT count(*) FROM analyses"}); }
};

} // namespace

TEST_F(AnalysisCacheTest, AKeptMeasurementStandsInUntilTheFileChanges) {
    const QString b = writeTone(dir, "b.wav", 4.0, 0.1);
    const AnalysisResult measured = analyzeFile(a).value(), quiet = analyzeFile(b).value();
    {
        AnalysisCache cache(cacheFile);
        EXPECT_TRUE(cache.analyze(a, ChannelMix::sum).ok() && cache.analyze(b, ChannelMix::sum).ok());
    }
    spoil(a);
    AnalysisCache cache(cacheFile);
    const FileAnalysis kept = cache.analyze(a, ChannelMix::sum);
    ASSERT_TRUE(kept.ok()) << "the audio is gone, its measurement is kept";
    EXPECT_EQ(kept.value().figures, measured.figures);
    EXPECT_EQ(std::tie(kept.value().loudest20sLUFS, kept.value().truePeakDBTP, kept.value().windowStart),
              std::tie(measured.loudest20sLUFS, measured.truePeakDBTP, measured.windowStart));
    EXPECT_TRUE(kept.value().times.size() == measured.times.size() &&
                std::abs(kept.value().times.back() - measured.times.back()) < 1e-9);
    EXPECT_FALSE(cache.analyze(a, ChannelMix::average).ok()) << "another mix is measured, and fails";

    writeTone(dir, "b.wav", 4.0, 0.2); // the same size, written later
    const FileAnalysis louder = cache.analyze(b, ChannelMix::sum);
    ASSERT_TRUE(louder.ok());
    EXPECT_NEAR(louder.value().loudest20sLUFS - quiet.loudest20sLUFS, 6.02, 0.01);

    EXPECT_TRUE(cache.clear());
    EXPECT_FALSE(cache.find(a, ChannelMix::sum));
    EXPECT_EQ(rows(), 0);
}

TEST_F(AnalysisCacheTest, AnUnusableCacheIsMovedAsideAndEveryFileStillMeasured) {
    const double truth = analyzeFile(a).value().loudest20sLUFS;
    QSqlDatabase locker;
    const std::pair<const char*, std::function<void()>> damages[] = {
        {"cut short", [&] { QFile::resize(cacheFile, QFileInfo(cacheFile).size() / 2); }},
        {"not a database", [&] { writeFile(cacheFile, "these are not the figures"); }},
        {"another program's", [&] { QFile::remove(cacheFile), sqlValue(cacheFile, {"CREATE TABLE songs (x)"}); }},
        {"locked by another program",
         [&] {
             sqlValue(cacheFile, {"PRAGMA locking_mode = EXCLUSIVE", "BEGIN EXCLUSIVE", "DELETE FROM analyses"},
                      &locker);
         }},
    };
    for (const auto& [what, damage] : damages) {
        SCOPED_TRACE(what);
        QDir(QFileInfo(cacheFile).path()).removeRecursively();
        AnalysisCache(cacheFile).analyze(a, ChannelMix::sum);
        damage();
        {
            AnalysisCache cache(cacheFile);
            const FileAnalysis again = cache.analyze(a, ChannelMix::sum);
            ASSERT_TRUE(again.ok());
            EXPECT_EQ(again.value().loudest20sLUFS, truth);
            EXPECT_TRUE(cache.usable());
        }
        EXPECT_TRUE(QFileInfo::exists(cacheFile + ".unusable"));
        EXPECT_TRUE(AnalysisCache(cacheFile).find(a, ChannelMix::sum)) << "the new file keeps what was measured";
    }
    locker.close();
    locker = {};
    QSqlDatabase::removeDatabase("kept");
}

TEST_F(AnalysisCacheTest, PastItsSizeTheCacheForgetsFilesThatAreGone) {
    const QString b = writeTone(dir, "b.wav", 2.0);
    {
        AnalysisCache cache(cacheFile);
        cache.analyze(a, ChannelMix::sum), cache.analyze(a, ChannelMix::average), cache.analyze(b, ChannelMix::sum);
    }
    QFile::remove(b);
    EXPECT_TRUE(AnalysisCache(cacheFile).usable());
    EXPECT_EQ(rows(), 3) << "under 200 MB nothing is pruned";
    EXPECT_TRUE(AnalysisCache(cacheFile, 1).usable());
    EXPECT_EQ(rows(), 2) << "both mixes of the file that is still there";
    EXPECT_TRUE(AnalysisCache(cacheFile).find(a, ChannelMix::average));
}
