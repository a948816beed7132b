#include "app/ExportOptions.h"

#include "io/FileError.h"
#include "list/SettingsFile.h"

#include <cmath>

namespace {

using Options = ExportOptions;

// A command line that cannot be followed; its description says why.
class UsageError : public DescribedError {
public:
    using DescribedError::DescribedError;
};

const QStringList optionsWithValues{"--out",      "--target",  "--format",   "--rate",
                                    "--settings", "--ceiling", "--channels", "--normalize-by"};

double targetFrom(const QString& value) {
    bool ok = false;
    const double t = value.toDouble(&ok);
    if (!ok || !std::isfinite(t))
        throw UsageError(QStringLiteral("'%1' is not a loudness in LUFS").arg(value));
    // The same range as the window's target field.
    if (t < SettingsFile::minimumTargetLUFS || t > SettingsFile::maximumTargetLUFS)
        throw UsageError(QStringLiteral("the target must lie between %1 and %2 LUFS, not %3")
                             .arg(SettingsFile::minimumTargetLUFS)
                             .arg(SettingsFile::maximumTargetLUFS)
                             .arg(value));
    return t;
}

ExportFormat formatFrom(const QString& value) {
    const auto f = exportFormatNamed(value);
    if (!f)
        throw UsageError(QStringLiteral("unknown format '%1'").arg(value));
    return *f;
}

SampleRate rateFrom(const QString& value) {
    bool ok = false;
    const auto r = sampleRateFromRawValue(value.toLongLong(&ok));
    if (!ok || !r)
        throw UsageError(QStringLiteral("the rate must be 44100, 48000 or 96000, not '%1'").arg(value));
    return *r;
}

// Takes one option (with its value, if it has one) into `o`.
void apply(Options& o, const QString& arg, const QString& value) {
    if (arg == QLatin1String("--out")) {
        o.out = value;
    } else if (arg == QLatin1String("--target")) {
        o.target = targetFrom(value);
    } else if (arg == QLatin1String("--format")) {
        o.format = formatFrom(value);
    } else if (arg == QLatin1String("--rate")) {
        o.rate = rateFrom(value);
    } else if (arg == QLatin1String("--ceiling")) {
        bool ok = false;
        o.ceiling = value.toDouble(&ok);
        if (!ok || !(*o.ceiling >= CeilingRange::lowestDBTP && *o.ceiling <= CeilingRange::highestDBTP))
            throw UsageError(QStringLiteral("the ceiling must lie between %1 and %2 dBTP, not '%3'")
                                 .arg(CeilingRange::lowestDBTP)
                                 .arg(CeilingRange::highestDBTP)
                                 .arg(value));
    } else if (arg == QLatin1String("--channels")) {
        o.channels = channelMixNames.named(value);
        if (!o.channels)
            throw UsageError(QStringLiteral("--channels takes sum or average, not '%1'").arg(value));
    } else if (arg == QLatin1String("--normalize-by")) {
        o.normalizeBy = normalizeByNames.named(value);
        if (!o.normalizeBy)
            throw UsageError(QStringLiteral("--normalize-by takes loudest or integrated, not '%1'").arg(value));
    } else if (arg == QLatin1String("--overwrite")) {
        o.overwrite = true;
    } else if (arg == QLatin1String("--settings")) {
        o.settings = value;
    } else if (arg == QLatin1String("--limiter") || arg == QLatin1String("--no-limiter")) {
        const bool limiter = arg == QLatin1String("--limiter");
        if (o.limiter && *o.limiter != limiter)
            throw UsageError(QStringLiteral("--limiter and --no-limiter exclude each other"));
        o.limiter = limiter;
    } else {
        throw UsageError(QStringLiteral("unknown option '%1'").arg(arg));
    }
}

// What the options must satisfy together.
void checkComplete(const Options& o) {
    if (o.out.isEmpty())
        throw UsageError(QStringLiteral("--out DIR is required"));
    if (o.files.isEmpty() && o.settings.isEmpty())
        throw UsageError(QStringLiteral("no files given"));
    if (!supportsRate(o.format, o.rate))
        throw UsageError(QStringLiteral("%1 holds at most %2 Hz; choose --rate 44100 or 48000")
                             .arg(rawValue(o.format))
                             .arg(maximumRate(o.format)));
}

} // namespace

ParsedExportArguments parseExportArguments(const QStringList& arguments) {
    ParsedExportArguments parsed;
    Options o;
    try {
        for (qsizetype i = 0; i < arguments.size(); ++i) {
            QString arg = arguments[i];
            if (arg == QLatin1String("-h") || arg == QLatin1String("--help")) {
                parsed.help = true;
                return parsed;
            }
            if (arg == QLatin1String("--")) {
                o.files << arguments.mid(i + 1);
                break;
            }
            if (!arg.startsWith(QLatin1Char('-')) || arg.size() == 1) {
                o.files << arg;
                continue;
            }
            QString value;
            if (arg.startsWith(QLatin1String("--")) &&
                optionsWithValues.contains(arg.section(QLatin1Char('='), 0, 0))) {
                if (arg.contains(QLatin1Char('='))) {
                    value = arg.section(QLatin1Char('='), 1);
                    arg = arg.section(QLatin1Char('='), 0, 0);
                } else if (i + 1 < arguments.size()) {
                    value = arguments[++i];
                } else {
                    throw UsageError(QStringLiteral("%1 needs a value").arg(arg));
                }
            }
            apply(o, arg, value);
        }
        checkComplete(o);
    } catch (const UsageError& e) {
        parsed.error = e.description();
        return parsed;
    }
    parsed.options = std::move(o);
    return parsed;
}
