#include "session/TargetPreset.h"

#include <QStringList>

namespace {

const PresetRow* rowOf(TargetPreset preset) {
    for (const PresetRow& row : presetRows)
        if (row.preset == preset)
            return &row;
    return nullptr;
}

const QString customName = QStringLiteral("custom");

} // namespace

std::optional<TargetValues> presetValues(TargetPreset preset) {
    const PresetRow* row = rowOf(preset);
    return row ? std::optional(row->values) : std::nullopt;
}

TargetPreset presetHolding(TargetPreset preset, const TargetValues& values) {
    return presetValues(preset) == values ? preset : TargetPreset::custom;
}

QString presetLabel(TargetPreset preset) {
    const PresetRow* row = rowOf(preset);
    return row ? QString::fromUtf8(row->label) : QStringLiteral("Custom");
}

QString presetName(TargetPreset preset) {
    const PresetRow* row = rowOf(preset);
    return row ? QString::fromLatin1(row->name) : customName;
}

std::optional<TargetPreset> presetNamed(const QString& name) {
    if (name == customName)
        return TargetPreset::custom;
    for (const PresetRow& row : presetRows)
        if (name == QLatin1String(row.name))
            return row.preset;
    return std::nullopt;
}

QString presetDescription(TargetPreset preset) {
    const PresetRow* row = rowOf(preset);
    if (!row)
        return QStringLiteral("Custom: the target, figure and ceiling as set by hand");
    return QStringLiteral("%1: %2 LUFS %3, %4 dBTP")
        .arg(presetLabel(preset))
        .arg(row->values.targetLUFS)
        .arg(row->values.normalizeBy == NormalizeBy::integrated ? QStringLiteral("integrated")
                                                                : QStringLiteral("loudest 20 s"))
        .arg(row->values.ceilingDBTP);
}

QString presetNameList(const QString& separator) {
    QStringList names;
    for (const PresetRow& row : presetRows)
        names << QString::fromLatin1(row.name);
    return names.join(separator);
}
