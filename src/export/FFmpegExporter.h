#pragma once

// Exports a file without segment edits with one encoder run: the volume
// filter applies the correction, the optional limiter guards the peaks, and
// the encoder converts the rate and encodes into a new temporary file that
// replaces the output name once it succeeded.

#include "export/ExportDelivery.h"
#include "export/ExportJob.h"

#include <QString>
#include <QStringList>

namespace FFmpegExporter {

// The encoder's arguments for one job, in order, writing to `written`, with
// `extraGainDB` added to the correction (to land on target when limited).
QStringList arguments(const ExportJob& job, const QString& written, double extraGainDB = 0.0);
// One job on the calling thread, with the encoder at `ffmpegPath`. Throws
// ExportError, SystemError or FileError; on failure a file already at the
// output name is untouched.
ExportedFile runExport(const ExportJob& job, const QString& ffmpegPath);

} // namespace FFmpegExporter
