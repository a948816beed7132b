#include "cli/ExportOptions.h"

namespace {

using Options = ExportOptions;

const QStringList& optionsWithValues() {
    static const QStringList names = QStringList{"--out", "--format", "--rate", "--settings"} + aimOptionsWithValues();
    return names;
}

ExportFormat formatFrom(const QString& value) {
    const auto f = exportFormatNamed(value);
    if (!f)
        throw UsageError(QStringLiteral("unknown format '%1'").arg(value));
    return *f;
}

SampleRate rateFrom(const QString& value) {
    bool ok = false;
    const auto r = sampleRateOfHertz(value.toLongLong(&ok));
    if (!ok || !r)
        throw UsageError(QStringLiteral("the rate must be 44100, 48000 or 96000, not '%1'").arg(value));
    return *r;
}

// Takes one option (with its value, if it has one) into `o`.
void apply(Options& o, const QString& arg, const QString& value) {
    if (arg == QLatin1String("--out")) {
        o.out = value;
    } else if (arg == QLatin1String("--format")) {
        o.format = formatFrom(value);
    } else if (arg == QLatin1String("--rate")) {
        o.rate = rateFrom(value);
    } else if (arg == QLatin1String("--overwrite")) {
        o.overwrite = true;
    } else if (arg == QLatin1String("--settings")) {
        o.settings = value;
    } else if (arg == QLatin1String("--limiter") || arg == QLatin1String("--no-limiter")) {
        const bool limiter = arg == QLatin1String("--limiter");
        if (o.limiter && *o.limiter != limiter)
            throw UsageError(QStringLiteral("--limiter and --no-limiter exclude each other"));
        o.limiter = limiter;
    } else if (!takeAimOption(o, arg, value)) {
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
                             .arg(label(o.format))
                             .arg(maximumRate(o.format)));
}

} // namespace

ParsedExportArguments parseExportArguments(const QStringList& arguments) {
    ParsedExportArguments parsed;
    Options o;
    try {
        if (!readArguments(
                arguments, optionsWithValues(), [&](const QString& arg, const QString& value) { apply(o, arg, value); },
                o.files)) {
            parsed.help = true;
            return parsed;
        }
        checkComplete(o);
    } catch (const UsageError& e) {
        parsed.error = e.description();
        return parsed;
    }
    parsed.options = std::move(o);
    return parsed;
}
