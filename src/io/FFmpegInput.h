#pragma once

// Opening a file with FFmpeg's demuxers the one way the program does it:
// the libraries kept quiet, the name read as a plain file (a colon in it is
// no protocol) and nothing else reachable from inside it (a playlist).

#include <QString>

struct AVFormatContext;

namespace FFmpegInput {

// Keeps the libraries' own log lines off the user's terminal: what goes
// wrong reaches the user as an error in our words instead.
void quiet();

// Opens `path` into `*format` (nullptr before); returns FFmpeg's result code.
int open(AVFormatContext** format, const QString& path);

// FFmpeg's text for a result code.
QString describe(int code);

} // namespace FFmpegInput
