// Any command line for `sonivel export` (the input split at zero bytes):
// help, a refusal with a reason, or options that hold together, which,
// written back as a command line, read as the same options.

#include "cli/ExportOptions.h"
#include "session/SettingsFile.h"

#include "FuzzFiles.h"

#include <cmath>
#include <cstdint>

namespace {

bool same(const ExportOptions& a, const ExportOptions& b) {
    return a.out == b.out && a.target == b.target && a.format == b.format && a.rate == b.rate &&
           a.limiter == b.limiter && a.ceiling == b.ceiling && a.overwrite == b.overwrite && a.settings == b.settings &&
           a.channels == b.channels && a.normalizeBy == b.normalizeBy && a.preset == b.preset && a.album == b.album &&
           a.files == b.files;
}

QStringList written(const ExportOptions& o) {
    QStringList args{"--out=" + o.out, "--format", label(o.format), "--rate", QString::number(hertz(o.rate))};
    if (o.ceiling)
        args << "--ceiling=" + QString::number(*o.ceiling, 'g', 17);
    if (o.target)
        args << "--target=" + QString::number(*o.target, 'g', 17);
    if (o.channels)
        args << "--channels" << channelMixNames.name(*o.channels);
    if (o.normalizeBy)
        args << "--normalize-by=" + normalizeByNames.name(*o.normalizeBy);
    if (o.preset)
        args << "--preset" << presetName(*o.preset);
    if (o.limiter)
        args << (*o.limiter ? "--limiter" : "--no-limiter");
    if (o.overwrite)
        args << "--overwrite";
    if (o.album)
        args << "--album";
    if (!o.settings.isEmpty())
        args << "--settings=" + o.settings;
    return args << "--" << o.files;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    QStringList arguments;
    for (const QByteArray& part : QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)).split('\0'))
        arguments << QString::fromUtf8(part);
    const Result<std::optional<ExportOptions>> parsed = parseExportArguments(arguments);
    if (!parsed.ok()) {
        if (parsed.error().kind != Error::Kind::usage || parsed.error().message.isEmpty())
            finding("a refusal that is no usage error with a reason");
        return 0;
    }
    if (!parsed.value()) // help
        return 0;
    const ExportOptions& o = *parsed.value();
    if (o.out.isEmpty() || (o.files.isEmpty() && o.settings.isEmpty()))
        finding("options without a folder or anything to export");
    if (!supportsRate(o.format, o.rate))
        finding("a rate the format cannot hold");
    if (o.ceiling && !(*o.ceiling >= CeilingRange::lowestDBTP && *o.ceiling <= CeilingRange::highestDBTP))
        finding("a ceiling out of range");
    if (o.target && !(*o.target >= SettingsFile::minimumTargetLUFS && *o.target <= SettingsFile::maximumTargetLUFS))
        finding("a target out of range");
    const Result<std::optional<ExportOptions>> again = parseExportArguments(written(o));
    if (!again.ok() || !again.value() || !same(*again.value(), o))
        finding("options that read otherwise when written back");
    return 0;
}
