#pragma once

// The analysis layer's failures, shown on a file's row. Their descriptions
// are the texts the user sees.

#include "io/FileError.h"

#include <QString>

// Reading and decoding a file for analysis.
class AudioLoaderError : public DescribedError {
public:
    enum class Kind {
        ffmpegFailed, // payload: the file name with its extension
        emptyFile,
        bufferCreationFailed,
        tooLong,      // payload: the frame count the reader reported
        launchFailed, // payload: why the decoder could not be started
        writeFailed,  // payload: why the temporary file could not be written
        readFailed,   // payload: the reader's own words, naming the file
        noAudio,      // payload: the file name with its extension
        stopped,      // the program is ending or was asked to stop
    };
    explicit AudioLoaderError(Kind kind, const QString& payload = {});
    Kind kind() const noexcept { return kind_; }

private:
    Kind kind_;
};

// Measuring a signal that holds no samples.
class AnalysisError : public DescribedError {
public:
    enum class Kind { emptyFile };
    explicit AnalysisError(Kind kind) : DescribedError(QStringLiteral("Audio file contains no samples")), kind_(kind) {}
    Kind kind() const noexcept { return kind_; }

private:
    Kind kind_;
};
