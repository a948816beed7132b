#pragma once

// Whether a listed path is something the program may read as an audio file:
// a regular file, or a link to one, that this user can open. Anything else
// (a folder, a named pipe, a socket, a device) would block a reader or
// mislead it, so it is refused before any reader opens it.

#include "io/Error.h"

#include <QString>
#include <optional>

namespace RegularFile {

// Why `path` cannot be read as a file ("not found", "a folder", "a named
// pipe", "Permission denied", ...), or none when it can. Never blocks: a
// named pipe is recognised without being opened.
std::optional<QString> problem(const QString& path);

// Throws a Failure of kind `notAFile`, naming the file and the problem,
// unless it can be read.
void require(const QString& path);

} // namespace RegularFile
