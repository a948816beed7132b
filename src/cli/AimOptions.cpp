#include "cli/AimOptions.h"

#include "export/CeilingRange.h"
#include "session/SettingsFile.h"

#include <cmath>

const QStringList& aimOptionsWithValues() {
    static const QStringList names{"--target", "--ceiling", "--channels", "--normalize-by", "--preset"};
    return names;
}

namespace {

// "the target must lie between -40 and -3 LUFS, not '-50'"
double numberIn(const QString& value, double lowest, double highest, const char* what, const char* unit) {
    bool ok = false;
    const double v = value.toDouble(&ok);
    if (!ok || !(v >= lowest && v <= highest))
        throw Failure(Error::Kind::usage, QStringLiteral("%1 must lie between %2 and %3 %4, not '%5'")
                                              .arg(QLatin1String(what))
                                              .arg(lowest)
                                              .arg(highest)
                                              .arg(QLatin1String(unit), value));
    return v;
}

template <typename E>
E named(std::optional<E> value, const QString& arg, const QString& choices, const QString& given) {
    if (!value)
        throw Failure(Error::Kind::usage, QStringLiteral("%1 takes %2, not '%3'").arg(arg, choices, given));
    return *value;
}

} // namespace

bool takeAimOption(AimOptions& o, const QString& arg, const QString& value) {
    if (arg == QLatin1String("--target"))
        o.target =
            numberIn(value, SettingsFile::minimumTargetLUFS, SettingsFile::maximumTargetLUFS, "the target", "LUFS");
    else if (arg == QLatin1String("--ceiling"))
        o.ceiling = numberIn(value, CeilingRange::lowestDBTP, CeilingRange::highestDBTP, "the ceiling", "dBTP");
    else if (arg == QLatin1String("--channels"))
        o.channels = named(channelMixNames.named(value), arg, QStringLiteral("sum or average"), value);
    else if (arg == QLatin1String("--normalize-by"))
        o.normalizeBy = named(normalizeByNames.named(value), arg, QStringLiteral("loudest or integrated"), value);
    else if (arg == QLatin1String("--no-cache"))
        o.noCache = true;
    else if (arg == QLatin1String("--album"))
        o.album = true;
    else if (arg == QLatin1String("--preset"))
        o.preset =
            named(presetNamed(value), arg, QStringLiteral("custom|") + presetNameList(QStringLiteral("|")), value);
    else
        return false;
    return true;
}

BatchSession::AnalysisOptions measuring(const AimOptions& o, std::optional<AnalysisCache>& cache) {
    if (o.noCache)
        return {};
    cache.emplace(AnalysisCache::defaultFile());
    return BatchSession::throughCache(*cache);
}

Aim aimOf(const AimOptions& o, const Aim& base) {
    Aim aim = base;
    if (o.preset) {
        aim.preset = *o.preset;
        aim.values = presetValues(*o.preset).value_or(base.values);
    }
    aim.values.targetLUFS = o.target.value_or(aim.values.targetLUFS);
    aim.values.ceilingDBTP = o.ceiling.value_or(aim.values.ceilingDBTP);
    aim.values.normalizeBy = o.normalizeBy.value_or(aim.values.normalizeBy);
    aim.preset = presetHolding(aim.preset, aim.values);
    return aim;
}

QString aimOptionsHelp() {
    QString presets;
    for (const PresetRow& row : presetRows)
        presets += QStringLiteral("                     %1 %2\n")
                       .arg(QLatin1String(row.name), -13)
                       .arg(presetDescription(row.preset));
    return QStringLiteral("  --target LUFS    target loudness, from -40 to -3 (default -16)\n"
                          "  --normalize-by FIGURE  loudest: aim each file's loudest 20 seconds at the\n"
                          "                   target (the default); integrated: aim the whole file's\n"
                          "                   integrated loudness at it\n"
                          "  --ceiling DBTP   the highest true peak, from -6.0 to -0.1 (default -1.0)\n"
                          "  --preset NAME    a platform's target, figure and ceiling together; the\n"
                          "                   three options above override it:\n") +
           presets +
           QStringLiteral("  --channels MIX   sum: the channels' loudness summed as every BS.1770 meter\n"
                          "                   reads it (the default); average: the classic figure of the\n"
                          "                   channels' average\n"
                          "  --album          give the tracks of an album one correction, the one that\n"
                          "                   aims the album's figure at the target (the loudest 20\n"
                          "                   seconds of its loudest track, or its integrated loudness\n"
                          "                   as one programme); albums are grouped by their album\n"
                          "                   artist and album tags, else by folder\n"
                          "  --no-cache       measure every file again, without reading or filling the\n"
                          "                   analysis cache\n");
}

bool readArguments(const QStringList& arguments, const QStringList& withValues,
                   const std::function<void(const QString& arg, const QString& value)>& option, QStringList& files) {
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        QString arg = arguments[i];
        if (arg == QLatin1String("-h") || arg == QLatin1String("--help"))
            return false;
        if (arg == QLatin1String("--")) {
            files << arguments.mid(i + 1);
            break;
        }
        if (!arg.startsWith(QLatin1Char('-')) || arg.size() == 1) {
            files << arg;
            continue;
        }
        QString value;
        if (arg.startsWith(QLatin1String("--")) && withValues.contains(arg.section(QLatin1Char('='), 0, 0))) {
            if (arg.contains(QLatin1Char('='))) {
                value = arg.section(QLatin1Char('='), 1);
                arg = arg.section(QLatin1Char('='), 0, 0);
            } else if (i + 1 < arguments.size()) {
                value = arguments[++i];
            } else {
                throw Failure(Error::Kind::usage, QStringLiteral("%1 needs a value").arg(arg));
            }
        }
        option(arg, value);
    }
    return true;
}
