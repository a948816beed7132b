#pragma once

// Why one file's export stopped, in words the user can act on; and the
// cancellation of a run, which is no failure.

#include "io/FileError.h"

#include <QString>

class ExportFailure : public DescribedError {
public:
    using DescribedError::DescribedError;
};

// The user cancelled, or the program is stopping: the job ends without output.
class ExportCancelled : public DescribedError {
public:
    ExportCancelled() : DescribedError(QStringLiteral("cancelled")) {}
};

namespace ExportFiles {

// Creates the folder that receives the outputs; throws ExportFailure with
// the system's reason.
void makeFolder(const QString& path);

} // namespace ExportFiles
