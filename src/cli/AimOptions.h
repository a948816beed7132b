#pragma once

// What `sonivel analyze` and `sonivel export` share on their command lines:
// the reading of options and files, and the options that aim files at a
// target (the target, the figure, the ceiling, the channel mix, a preset).

#include "analysis/AnalysisCache.h"
#include "analysis/ChannelMix.h"
#include "io/Error.h"
#include "session/BatchSession.h"
#include "session/TargetPreset.h"

#include <QString>
#include <QStringList>
#include <QTextStream>
#include <functional>
#include <optional>

struct AimOptions {
    std::optional<double> target;
    std::optional<double> ceiling;
    std::optional<ChannelMix> channels;
    std::optional<NormalizeBy> normalizeBy;
    std::optional<TargetPreset> preset;
    bool noCache = false;      // measure every file, the analysis cache left alone
    std::optional<bool> album; // one correction per album
};

// Measures through the user's analysis cache unless told not to; the
// session's analyses go through what `cache` then holds.
BatchSession::AnalysisOptions measuring(const AimOptions& o, std::optional<AnalysisCache>& cache);

// The aim options, each of which takes a value.
const QStringList& aimOptionsWithValues();

// Takes one aim option into `o`; false when `arg` is none of them. A value
// out of the window's range is a usage error (a Failure of kind `usage`).
bool takeAimOption(AimOptions& o, const QString& arg, const QString& value);

// The values aimed at: a preset's over `base`, each option given over
// those; the preset stays only while the values are its own.
Aim aimOf(const AimOptions& o, const Aim& base);

// The help lines of the aim options, the presets listed with their values.
QString aimOptionsHelp();

// Reads a command line: "--name=value" or "--name value" for the names in
// `withValues`, "--" ends the options, "-" alone is a file. Hands every
// option to `option` (with its value, or an empty one) and collects the
// files. Returns false at -h or --help. Throws a usage error.
bool readArguments(const QStringList& arguments, const QStringList& withValues,
                   const std::function<void(const QString& arg, const QString& value)>& option, QStringList& files);

// The request `read` makes of a command's arguments (none after --help),
// or, when there is none, the exit status: 0 with `usage` printed, 2 with
// the usage error named ("sonivel tag: no files given") and the way to help.
template <typename Request, typename Read>
std::optional<Request> readRequest(Read read, const QStringList& arguments, const char* command, const QString& usage,
                                   QTextStream& out, QTextStream& err, int& status) {
    try {
        std::optional<Request> parsed = read(arguments);
        if (!parsed) {
            out << usage;
            status = 0;
        }
        return parsed;
    } catch (const Failure& e) {
        err << "sonivel " << command << ": " << e.message() << '\n' << "Try 'sonivel " << command << " --help'.\n";
        status = 2;
        return std::nullopt;
    }
}
