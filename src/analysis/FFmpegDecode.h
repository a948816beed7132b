#pragma once

#include "io/TemporaryFile.h"

#include <QString>

// A file that `ffmpeg` decoded into a temporary 48000 Hz 32-bit float WAV in
// the temporary directory, keeping its channels (the analysis averages them
// as it does for every file). The file is removed when this object goes
// away, whatever way out is taken, and by an interruption of the program.
class FFmpegDecodedFile {
public:
    // Runs the encoder found by FFmpegLocator on `sourcePath`. Throws the
    // Failure of AnalysisErrors when it cannot start, its output cannot be
    // written, or it exits non-zero or writes nothing.
    explicit FFmpegDecodedFile(const QString& sourcePath);
    // The same with an explicit encoder, for callers that located it already.
    FFmpegDecodedFile(const QString& sourcePath, const QString& encoder);
    ~FFmpegDecodedFile();
    FFmpegDecodedFile(const FFmpegDecodedFile&) = delete;
    FFmpegDecodedFile& operator=(const FFmpegDecodedFile&) = delete;

    const QString& path() const { return file_.path(); }

private:
    TemporaryFile file_;
};
