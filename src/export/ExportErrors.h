#pragma once

// Why an export stopped. Every error has the description the status line
// shows after "Export error: ".

#include "io/FileError.h"

#include <QString>

class ExportFailure : public DescribedError {
public:
    using DescribedError::DescribedError;
};

// The in-app renderer's own failures.
class RenderError : public ExportFailure {
public:
    enum class Kind { cannotReadSource, cannotCreateOutput, ffmpegEncodeFailed };
    RenderError(Kind kind, const QString& message);
    Kind kind() const noexcept { return kind_; }

private:
    Kind kind_;
};

// The encoder-only exporter's failure: "Error exporting Song.aiff: <encoder message>".
class ExportError : public ExportFailure {
public:
    ExportError(const QString& fileName, const QString& message)
        : ExportFailure(QStringLiteral("Error exporting %1: %2").arg(fileName, message)) {}
};

// What the system itself reports: a folder that cannot be made, a failed
// write, delete or move, an encoder that cannot be started, an output that
// would replace a source file.
class SystemError : public ExportFailure {
public:
    using ExportFailure::ExportFailure;
};

namespace ExportFiles {

// Creates the folder that receives the outputs; throws SystemError.
void makeFolder(const QString& path);

} // namespace ExportFiles
