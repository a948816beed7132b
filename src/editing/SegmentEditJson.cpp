#include "editing/SegmentEditJson.h"

#include <QJsonValue>
#include <QRegularExpression>

namespace {

QString uuidText(const QUuid& id) { return id.toString(QUuid::WithoutBraces).toUpper(); }

std::optional<QUuid> uuidFrom(const QJsonValue& value) {
    static const QRegularExpression form(QStringLiteral(
        "^[0-9A-Fa-f]{8}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{12}$"));
    if (!value.isString() || !form.match(value.toString()).hasMatch())
        return std::nullopt;
    return QUuid::fromString(value.toString());
}

std::optional<double> numberFrom(const QJsonValue& value) {
    if (!value.isDouble())
        return std::nullopt;
    return value.toDouble();
}

} // namespace

QJsonObject toJson(const Separator& separator) {
    return QJsonObject{{QStringLiteral("id"), uuidText(separator.id)},
                       {QStringLiteral("timeSeconds"), separator.timeSeconds},
                       {QStringLiteral("fadeDurationMs"), separator.fadeDurationMs}};
}

QJsonObject toJson(const SegmentGain& gain) {
    return QJsonObject{{QStringLiteral("id"), uuidText(gain.id)},
                       {QStringLiteral("gainOffsetDB"), gain.gainOffsetDB}};
}

std::optional<Separator> separatorFromJson(const QJsonObject& json) {
    const auto id = uuidFrom(json.value(QStringLiteral("id")));
    const auto time = numberFrom(json.value(QStringLiteral("timeSeconds")));
    const auto fade = numberFrom(json.value(QStringLiteral("fadeDurationMs")));
    if (!id || !time || !fade)
        return std::nullopt;
    return Separator{*id, *time, *fade};
}

std::optional<SegmentGain> segmentGainFromJson(const QJsonObject& json) {
    const auto id = uuidFrom(json.value(QStringLiteral("id")));
    const auto gain = numberFrom(json.value(QStringLiteral("gainOffsetDB")));
    if (!id || !gain)
        return std::nullopt;
    return SegmentGain{*id, *gain};
}
