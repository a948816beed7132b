#include "editing/SegmentEditJson.h"

#include <QJsonDocument>
#include <gtest/gtest.h>

namespace {

QJsonObject parse(const char* text) { return QJsonDocument::fromJson(text).object(); }

} // namespace

TEST(SegmentEditJsonTest, EncodesExactlyTheKeysAndRoundTrips) {
    const Separator s{QUuid::fromString(QStringLiteral("6f1c0a2e-93b4-4d2a-8c1e-0b5d7e9f4a31")),
                      12.25, 750.0};
    const QJsonObject json = toJson(s);
    EXPECT_EQ(json.keys(), (QStringList{"fadeDurationMs", "id", "timeSeconds"}));
    EXPECT_EQ(json.value("id").toString(), "6F1C0A2E-93B4-4D2A-8C1E-0B5D7E9F4A31");
    EXPECT_EQ(json.value("timeSeconds").toDouble(), 12.25);
    EXPECT_EQ(separatorFromJson(json), s);

    const SegmentGain g{QUuid::createUuid(), -3.5};
    EXPECT_EQ(toJson(g).keys(), (QStringList{"gainOffsetDB", "id"}));
    EXPECT_EQ(segmentGainFromJson(toJson(g)), g);
    // Through text as well, with a lower-case id and an extra key.
    EXPECT_EQ(segmentGainFromJson(parse(R"({"id":"6f1c0a2e-93b4-4d2a-8c1e-0b5d7e9f4a31",
                                          "gainOffsetDB":2,"note":"x"})"))
                  ->gainOffsetDB,
              2.0);
}

TEST(SegmentEditJsonTest, DecodingRequiresEveryKeyItsTypeAndTheHyphenatedId) {
    EXPECT_TRUE(separatorFromJson(parse(
        R"({"id":"6F1C0A2E-93B4-4D2A-8C1E-0B5D7E9F4A31","timeSeconds":3,"fadeDurationMs":0})")));
    const char* bad[] = {
        R"({"timeSeconds":3,"fadeDurationMs":0})",
        R"({"id":"6F1C0A2E-93B4-4D2A-8C1E-0B5D7E9F4A31","fadeDurationMs":0})",
        R"({"id":"6F1C0A2E-93B4-4D2A-8C1E-0B5D7E9F4A31","timeSeconds":3})",
        R"({"id":"6F1C0A2E-93B4-4D2A-8C1E-0B5D7E9F4A31","timeSeconds":"3","fadeDurationMs":0})",
        R"({"id":"6F1C0A2E-93B4-4D2A-8C1E-0B5D7E9F4A31","timeSeconds":null,"fadeDurationMs":0})",
        R"({"id":"{6F1C0A2E-93B4-4D2A-8C1E-0B5D7E9F4A31}","timeSeconds":3,"fadeDurationMs":0})",
        R"({"id":"6F1C0A2E93B44D2A8C1E0B5D7E9F4A31","timeSeconds":3,"fadeDurationMs":0})",
        R"({"id":"6F1C0A2E-93B4-4D2A-8C1E-0B5D7E9F4A3","timeSeconds":3,"fadeDurationMs":0})",
        R"({"id":"6G1C0A2E-93B4-4D2A-8C1E-0B5D7E9F4A31","timeSeconds":3,"fadeDurationMs":0})",
        R"({"id":7,"timeSeconds":3,"fadeDurationMs":0})",
    };
    for (const char* text : bad)
        EXPECT_FALSE(separatorFromJson(parse(text))) << text;
    EXPECT_FALSE(segmentGainFromJson(parse(R"({"id":"6F1C0A2E-93B4-4D2A-8C1E-0B5D7E9F4A31"})")));
    EXPECT_FALSE(segmentGainFromJson(parse(R"({"gainOffsetDB":1})")));
    EXPECT_FALSE(segmentGainFromJson(
        parse(R"({"id":"6F1C0A2E-93B4-4D2A-8C1E-0B5D7E9F4A31","gainOffsetDB":true})")));
}
