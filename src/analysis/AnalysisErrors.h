#pragma once

// The analysis layer's failures, shown on a file's row: each makes the
// Failure whose message is the text the user sees.

#include "io/Error.h"

#include <QString>
#include <cstdint>

namespace AnalysisErrors {

// Neither reader decodes the file.
Failure cannotDecode(const QString& path);
// The decoder program could not be started; `why` is the system's reason.
Failure cannotStartDecoder(const QString& path, const QString& why);
// The decoded copy could not be written; `why` names the temporary file and the reason.
Failure cannotWriteTemporary(const QString& path, const QString& why);
Failure noAudio(const QString& path);
Failure emptyFile(const QString& path);
// Measuring a signal that holds no samples.
Failure noSamples();
Failure tooLong(const QString& path, int64_t frames);
Failure noBuffer();
// The program is ending or the analysis was asked to stop.
Failure stopped(const QString& path = {});

} // namespace AnalysisErrors
