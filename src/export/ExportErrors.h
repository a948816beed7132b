#pragma once

// The folder that receives an export's outputs.

#include "io/Error.h"

#include <QString>
#include <QStringList>

namespace ExportFiles {

// Creates the folder that receives the outputs and returns the folders it
// made, outermost first; throws a Failure with the system's reason.
QStringList makeFolder(const QString& path);
// Removes those of `made` that are still empty, innermost first.
void removeIfEmpty(const QStringList& made);

} // namespace ExportFiles
