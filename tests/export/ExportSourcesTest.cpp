// What travels from a real source to its export, with the real encoder: the
// tags and the cover, never the loudness tags, and never a damaged middle.

#include "editing/SegmentEditModel.h"
#include "export/ExportPipeline.h"
#include "io/AudioTags.h"
#include "support/AudioFixtures.h"
#include "support/QtPrinters.h"

#include <taglib/fileref.h>
#include <taglib/tpropertymap.h>

namespace {

const QMap<QString, QString> listed{{"TITLE", "Tïtle"},      {"ARTIST", "Artist"},    {"ALBUM", "Album"},
                                    {"ALBUMARTIST", "Band"}, {"TRACKNUMBER", "3/12"}, {"DISCNUMBER", "1/2"},
                                    {"DATE", "2021"},        {"GENRE", "Rock"},       {"COMMENT", "Live"}};

// A 25-second tone encoded by the real encoder with `extra` arguments.
QString encode(const QTemporaryDir& dir, const QString& name, const QStringList& extra) {
    const QString path = dir.filePath(name);
    EXPECT_TRUE(fixtures::runFFmpeg(QStringList{"-f", "lavfi", "-i", "sine=f=330:d=25", "-ac", "2"} + extra << path));
    return path;
}

// The listed fields an export holds, read back by TagLib.
QMap<QString, QString> listedFieldsOf(const QString& path) {
    const TagLib::FileRef file(QFile::encodeName(path).constData());
    QMap<QString, QString> found;
    if (file.isNull())
        return found;
    const TagLib::PropertyMap properties = file.file()->properties();
    for (const auto& [key, values] : properties) {
        const QString name = QString::fromStdString(key.to8Bit(true));
        if (listed.contains(name) || name.startsWith("REPLAYGAIN") || name.startsWith("R128"))
            found.insert(name, QString::fromStdString(values.toString().to8Bit(true)));
    }
    return found;
}

ExportedFile exportBothWays(const QString& source, const QString& dest, ExportFormat format, bool edited,
                            double correctionDB = -2.0, const JobControl& control = {}) {
    QDir().mkpath(dest);
    ExportJob job{source, QFileInfo(source).completeBaseName(), correctionDB, -16.0, false, std::nullopt, {}};
    if (edited) {
        SegmentEditSnapshot edits = SegmentEditSnapshot::initial();
        SegmentEditModel::addSeparator(edits, 5.0);
        SegmentEditModel::setSegmentGain(edits, 1, 1.0);
        job.segmentEdits = edits;
    }
    const SampleRate rate = supportsRate(format, SampleRate::rate44100) ? SampleRate::rate44100 : SampleRate::rate48000;
    const ExportSettings settings{dest, format, rate, true, -1.0, ExistingOutputs::keepBoth};
    OutputNames names(dest, settings.existing, {source});
    return ExportPipeline::exportFile(job, settings, names, control);
}

} // namespace

TEST(ExportSourcesTest, TagsAndCoverTravelWithoutLoudnessTags) {
    QTemporaryDir dir;
    const QString cover = dir.filePath("cover.png");
    ASSERT_TRUE(fixtures::runFFmpeg("-f lavfi -i color=red:s=64x64 -frames:v 1", cover));
    QStringList tags;
    for (auto it = listed.begin(); it != listed.end(); ++it) {
        const char* key = it.key() == "TRACKNUMBER"   ? "track"
                          : it.key() == "DISCNUMBER"  ? "disc"
                          : it.key() == "ALBUMARTIST" ? "album_artist"
                                                      : nullptr;
        tags << "-metadata" << (key ? QString::fromLatin1(key) : it.key().toLower()) + "=" + it.value();
    }
    tags += QStringList{"-metadata", "REPLAYGAIN_TRACK_GAIN=-6.20 dB", "-metadata", "R128_TRACK_GAIN=-1536"};
    // FLAC with a picture; Ogg keeps its tags on the stream, the track total apart.
    const QString flac = encode(dir, "Tagged.flac",
                                QStringList{"-i", cover, "-map", "0:a", "-map", "1:v", "-c:v", "copy", "-disposition:v",
                                            "attached_pic", "-c:a", "flac"} +
                                    tags);
    QStringList oggTags = tags;
    oggTags[oggTags.indexOf("track=3/12")] = "track=3";
    oggTags += QStringList{"-metadata", "TRACKTOTAL=12"};
    const QString ogg = encode(dir, "Stream.ogg", QStringList{"-c:a", "libvorbis"} + oggTags);
    // Nothing but a loudness tag: the export has no tags at all.
    const QString plain = encode(dir, "Plain.flac", {"-metadata", "REPLAYGAIN_TRACK_GAIN=-6.20 dB"});
    QFile coverFile(cover);
    ASSERT_TRUE(coverFile.open(QIODevice::ReadOnly));
    const QByteArray picture = coverFile.readAll();

    for (bool rendered : {false, true}) {
        for (ExportFormat format : {ExportFormat::mp3_320, ExportFormat::flac, ExportFormat::wav16,
                                    ExportFormat::vorbis, ExportFormat::opus, ExportFormat::aac}) {
            if (rendered && format > ExportFormat::flac)
                continue; // the newer codecs' tags, written the same way, once
            const QString dest = dir.filePath(QStringLiteral("out-%1-%2").arg(rendered).arg(keyword(format)));
            const std::string where = keyword(format).toStdString() + (rendered ? " rendered" : " encoded");
            for (const QString& source : {flac, ogg}) {
                const QString out = exportBothWays(source, dest, format, rendered).path;
                EXPECT_EQ(listedFieldsOf(out), listed) << where << " from " << source.toStdString();
                const AudioTags back = AudioTagCopy::read(out);
                // WAV holds no picture.
                const bool withPicture = source == flac && fileExtension(format) != "wav";
                EXPECT_EQ(back.picture, withPicture ? picture : QByteArray()) << where;
                EXPECT_EQ(back.pictureType, withPicture ? "image/png" : "") << where;
            }
            EXPECT_TRUE(listedFieldsOf(exportBothWays(plain, dest, format, rendered).path).isEmpty()) << where;
        }
    }
}

TEST(ExportSourcesTest, ADamagedMiddleEndsTheJobAndLeavesNoOutput) {
    QTemporaryDir dir;
    const QString mp3 = encode(dir, "Damaged.mp3", {"-c:a", "libmp3lame", "-b:a", "192k"});
    QFile file(mp3);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QByteArray bytes = file.readAll();
    file.close();
    for (qsizetype i = bytes.size() / 2; i < bytes.size() / 2 + 20000; ++i)
        bytes[i] = static_cast<char>((i * 7919) % 251);
    fixtures::writeFile(mp3, bytes);

    for (bool rendered : {false, true}) {
        const QString dest = dir.filePath(QStringLiteral("out%1").arg(rendered));
        const Error error = fixtures::failureOf([&] { exportBothWays(mp3, dest, ExportFormat::wav24, rendered); });
        // Named, with the time (the middle of 25 s) where it stops.
        EXPECT_TRUE(error.message.contains("Damaged") && error.message.contains("damaged at 0:1"))
            << error.message.toStdString() << (rendered ? " rendered" : " encoded");
        EXPECT_EQ(error.kind, Error::Kind::damaged);
        EXPECT_TRUE(error.at && *error.at > 10.0 && *error.at < 15.0 && error.path == mp3);
        EXPECT_TRUE(fixtures::filesIn(dest).isEmpty()) << fixtures::filesIn(dest).join(", ").toStdString();
    }
}

// A rate under 1 kHz in a header is damage, not audio; 1 kHz is exported.
TEST(ExportSourcesTest, ARateUnderOneKilohertzIsRefused) {
    QTemporaryDir dir;
    for (int64_t rate : {999, 1000}) {
        const QString source = dir.filePath(QStringLiteral("Rate%1.wav").arg(rate)), dest = source + ".out";
        fixtures::writeMonoWav(source, fixtures::sine(100.0, 0.25, rate, rate * 5), rate);
        const Error error = fixtures::failureOf([&] { exportBothWays(source, dest, ExportFormat::wav24, false); });
        EXPECT_EQ(error.message.contains("Rate999.wav\": its header states a sample rate of 999 Hz"), rate == 999);
        EXPECT_EQ(fixtures::filesIn(dest).size(), rate == 999 ? 0 : 1);
    }
}

// A tone under half a 16-bit step would round away; dithered, it lives on
// in noise of about a step on both sides of zero, with no offset. At 24
// bits, undithered, the same tone a step lower rounds away to silence.
TEST(ExportSourcesTest, SixteenBitsDitherWhatWouldRoundAway) {
    QTemporaryDir dir;
    const QString source = dir.filePath("Faint.wav"), finer = dir.filePath("Finer.wav");
    fixtures::writeMonoWav(source, fixtures::sine(1000.0, 0.5 / 32768, 44100, 44100 * 3), 44100);
    fixtures::writeMonoWav(finer, fixtures::sine(1000.0, 0.5 / 8388608, 44100, 44100 * 3), 44100);
    double share = 0;
    const ExportedFile out = exportBothWays(source, dir.filePath("out"), ExportFormat::wav16, false, -2.0,
                                            {{}, [&](double s) { share = s; }});
    EXPECT_GT(share, 0.99) << "its progress runs to the end";
    const std::vector<float> in = fixtures::readFirstChannel(source), written = fixtures::readFirstChannel(out.path);
    for (float x :
         fixtures::readFirstChannel(exportBothWays(finer, dir.filePath("o24"), ExportFormat::wav24, false).path))
        ASSERT_EQ(x, 0.0f);
    ASSERT_EQ(written.size(), in.size());
    double correlation = 0, sum = 0;
    for (size_t i = 0; i < in.size(); ++i)
        correlation += double(in[i]) * written[i], sum += written[i] * 32768.0;
    EXPECT_GT(correlation, 0.0);
    EXPECT_NEAR(sum / static_cast<double>(in.size()), 0.0, 0.05);
    EXPECT_TRUE(*std::min_element(written.begin(), written.end()) < 0 &&
                *std::max_element(written.begin(), written.end()) > 0);
}

// Corrected under the meter's floor, a file measures silent: it keeps the
// gain it was given instead of being chased towards a figure it cannot reach.
TEST(ExportSourcesTest, AFileCorrectedUnderTheFloorKeepsItsGain) {
    QTemporaryDir dir;
    const QString source = dir.filePath("Faint.wav");
    fixtures::writeMonoWav(source, fixtures::sine(1000.0, 0.01, 48000, 48000 * 5), 48000);
    const std::vector<float> out =
        fixtures::readFirstChannel(exportBothWays(source, dir.filePath("out"), ExportFormat::wav32, false, -40.0).path);
    double power = 0; // of a sine of 0.01 × 0.01
    for (float x : out)
        power += double(x) * x / static_cast<double>(out.size());
    EXPECT_NEAR(std::sqrt(2 * power), 1e-4, 1e-6);
}
