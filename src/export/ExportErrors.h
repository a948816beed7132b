#pragma once

// Why one file's export stopped, in words the user can act on; and the
// cancellation of a run, which is no failure.

#include "io/FileError.h"

#include <QString>
#include <QStringList>

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

// Creates the folder that receives the outputs and returns the folders it
// made, outermost first; throws ExportFailure with the system's reason.
QStringList makeFolder(const QString& path);
// Removes those of `made` that are still empty, innermost first.
void removeIfEmpty(const QStringList& made);

} // namespace ExportFiles
