#pragma once

// One run of the external encoder, waited for on the calling (worker) thread.

#include <QString>
#include <QStringList>

struct EncoderRun {
    int exitCode = 0;
    QString errorOutput; // what it wrote to standard error, read while it ran
};

namespace EncoderProcess {

// Starts `program` with the quiet arguments and `arguments` (never through a
// shell) and waits for it.
// Standard error is read as it arrives, so a chatty encoder never stalls on a
// full pipe; standard output is discarded. A crash comes back as exit code
// -1. The encoder dies with the program and is stopped by an interruption.
// Throws FileError when the program cannot be started.
EncoderRun run(const QString& program, const QStringList& arguments);

} // namespace EncoderProcess
