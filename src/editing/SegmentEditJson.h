#pragma once

// The keyed JSON form of the edit records: exactly the keys "id",
// "timeSeconds", "fadeDurationMs" for a separator and "id", "gainOffsetDB"
// for a segment gain. Ids are written as upper-case 8-4-4-4-12 hexadecimal.
// Decoding requires every key with its JSON type (other keys are ignored) and
// an id in that form, in either case; anything else decodes to nothing.

#include "editing/SegmentEditRecords.h"

#include <QJsonObject>
#include <optional>

QJsonObject toJson(const Separator& separator);
QJsonObject toJson(const SegmentGain& gain);

std::optional<Separator> separatorFromJson(const QJsonObject& json);
std::optional<SegmentGain> segmentGainFromJson(const QJsonObject& json);
