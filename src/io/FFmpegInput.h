#pragma once

// Opening a file with FFmpeg's demuxers the one way the program does it:
// the libraries kept quiet, the name read as a plain file (a colon in it is
// no protocol) and nothing else reachable from inside it (a playlist).

#include <QString>
#include <cstddef>

struct AVFormatContext;

namespace FFmpegInput {

// The most the libraries (and the ffmpeg program) may allocate at once. A
// damaged header can make a demuxer zero gigabytes for a 95-byte file; no
// audio needs more.
inline constexpr size_t maximumAllocation = size_t{256} << 20;

// Keeps the libraries' own log lines off the user's terminal (what goes
// wrong reaches the user as an error in our words instead), and their
// allocations within `maximumAllocation`, which then fail with ENOMEM.
void quiet();

// Opens `path` into `*format` (nullptr before); returns FFmpeg's result code.
int open(AVFormatContext** format, const QString& path);

// FFmpeg's text for a result code.
QString describe(int code);

} // namespace FFmpegInput
