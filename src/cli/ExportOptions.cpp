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
        throw Failure(Error::Kind::usage, QStringLiteral("unknown format '%1'").arg(value));
    return *f;
}

SampleRate rateFrom(const QString& value) {
    bool ok = false;
    const auto r = sampleRateOfHertz(value.toLongLong(&ok));
    if (!ok || !r)
        throw Failure(Error::Kind::usage,
                      QStringLiteral("the rate must be 44100, 48000 or 96000, not '%1'").arg(value));
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
    } else if (arg == QLatin1String("--skip-existing")) {
        o.skipExisting = true;
    } else if (arg == QLatin1String("--settings")) {
        o.settings = value;
    } else if (arg == QLatin1String("--limiter") || arg == QLatin1String("--no-limiter")) {
        const bool limiter = arg == QLatin1String("--limiter");
        if (o.limiter && *o.limiter != limiter)
            throw Failure(Error::Kind::usage, QStringLiteral("--limiter and --no-limiter exclude each other"));
        o.limiter = limiter;
    } else if (!takeAimOption(o, arg, value)) {
        throw Failure(Error::Kind::usage, QStringLiteral("unknown option '%1'").arg(arg));
    }
}

// What the options must satisfy together.
void checkComplete(const Options& o) {
    if (o.out.isEmpty())
        throw Failure(Error::Kind::usage, QStringLiteral("--out DIR is required"));
    if (o.files.isEmpty() && o.settings.isEmpty())
        throw Failure(Error::Kind::usage, QStringLiteral("no files given"));
    if (!supportsRate(o.format, o.rate))
        throw Failure(Error::Kind::usage, rateLimit(o.format) + (supportsRate(o.format, SampleRate::rate44100)
                                                                     ? QStringLiteral("; choose --rate 44100 or 48000")
                                                                     : QStringLiteral("; choose --rate 48000")));
}

} // namespace

Result<std::optional<ExportOptions>> parseExportArguments(const QStringList& arguments) {
    return Result<std::optional<ExportOptions>>::of(
        [&]() -> std::optional<ExportOptions> {
            Options o;
            if (!readArguments(
                    arguments, optionsWithValues(),
                    [&](const QString& arg, const QString& value) { apply(o, arg, value); }, o.files))
                return std::nullopt;
            checkComplete(o);
            return o;
        },
        QStringLiteral("the command line cannot be read"));
}
