#pragma once

#include "io/FFmpegInput.h"

#include <QString>
#include <QStringList>
#include <optional>

// Where the encoder is looked for, in this order: the installed data
// directory, the directory of the running program, the search path, then
// fixed candidates. Tests build their own.
struct FFmpegSearchPlaces {
    QString resourceDir;               // <prefix>/share/sonivel
    QString programDir;                // directory of the running executable
    std::optional<QString> searchPath; // folders separated by ':'; none means our PATH
    // Where a desktop session whose PATH is short still finds one.
    QStringList fixedCandidates{"/usr/local/bin/ffmpeg", "/usr/bin/ffmpeg"};
};

// Finds the `ffmpeg` executable. Caches nothing: every call looks again.
namespace FFmpegLocator {

FFmpegSearchPlaces defaultPlaces();

// An absolute path, or the bare name "ffmpeg" when nothing was found.
QString find();
QString find(const FFmpegSearchPlaces& places);

// The executable `ffmpeg` in the search path, the first folder first.
std::optional<QString> findInPath(const FFmpegSearchPlaces& places);

// Leading arguments of every run: no banner, no reading the terminal, only
// errors on standard error, so a failure reads as the encoder's own line, and
// no allocation a damaged header could make huge.
inline const QStringList quietArguments{"-hide_banner", "-nostdin",   "-loglevel",
                                        "error",        "-max_alloc", QString::number(FFmpegInput::maximumAllocation)};

} // namespace FFmpegLocator
