#pragma once

// How outputs are named: after the source without its extension, then the
// figure the file really has ("Song (-16LUFS).wav", "Hum (silent).wav").
// The names of a batch are decided together, before any job starts: two
// sources that would share a name get distinct stems ("x", "x (2)"), and a
// stem is shortened, at a character, until the longest name it can get fits
// the file system. At the end of a job the name is claimed: never a listed
// source, never another output of the batch, and an existing file only as
// the user chose.

#include "export/ExportJob.h"
#include "io/FileIdentity.h"
#include "io/TemporaryFile.h"

#include <QSet>
#include <QString>
#include <QStringList>
#include <mutex>
#include <set>

namespace ExportNaming {

// " (-16LUFS)" for a loudness (formatted "%.0f"), " (silent)" for silence.
QString figureText(double loudnessLUFS, bool isSilent);
// The whole name: stem, figure text, "." and the extension.
QString fileName(const QString& stem, double loudnessLUFS, bool isSilent, ExportFormat format);

// One stem per source, in order, distinct within the batch (compared without
// case, as some file systems do), each short enough that its name with any
// figure and a number fits in `nameMax` bytes.
QStringList distinctStems(const QStringList& sourcePaths, ExportFormat format, int nameMax);

// Why a file was not exported: its name is taken and the user keeps what is there.
QString alreadyExists(const QString& name);

// The longest file name the file system of `folder` takes, in bytes.
int nameMaxOf(const QString& folder);

} // namespace ExportNaming

// Claims the final names of one batch's outputs; shared by its jobs.
class OutputNames {
public:
    OutputNames(QString folder, ExistingOutputs existing, const QStringList& sourcePaths);

    // Renames `file` to stem + figure in the folder, or, where that name is
    // a listed source, another output of the batch, or an existing file the
    // user keeps, to the first free "stem (k)". Returns the path. Throws
    // a Failure of kind `exists` where the name exists and the user skips such files.
    QString commit(TemporaryFile& file, const QString& stem, const QString& figureAndExtension);

private:
    QString folder_;
    ExistingOutputs existing_;
    std::set<FileId> sources_;
    std::mutex mutex_;
    QSet<QString> claimed_; // case-folded names
};
