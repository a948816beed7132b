#pragma once

// Runs of the `ffmpeg` program, waited for on the calling (worker) thread.

#include <QString>
#include <QStringList>

class QProcess;

struct EncoderRun {
    int exitCode = 0;
    QString errorOutput; // what it wrote to standard error, read while it ran

    // Why it failed, for the user: its first line of complaint (at most 200
    // characters, without the decoder's address) with the temporary file it
    // wrote, `written`, called `shownName`; or its exit code when it said
    // nothing.
    QString reason(const QString& written, const QString& shownName) const;
};

namespace EncoderProcess {

// Sets `process` up the one way every ffmpeg run is made: `program` with the
// quiet arguments and `arguments` (never through a shell), no input (it
// would read the terminal for commands), dying with the program and stopped
// by an interruption. The child inherits `passedDescriptor`, when there is
// one. The caller chooses where the output goes and starts it.
void prepare(QProcess& process, const QString& program, const QStringList& arguments, int passedDescriptor = -1);

// Starts `program` with the quiet arguments and `arguments` (never through a
// shell) and waits for it.
// Standard error is read as it arrives, so a chatty encoder never stalls on a
// full pipe; standard output is discarded. A crash comes back as exit code
// -1. The encoder dies with the program and is stopped by an interruption.
// It inherits `passedDescriptor`, when there is one.
// Throws a Failure when the program cannot be started.
EncoderRun run(const QString& program, const QStringList& arguments, int passedDescriptor = -1);

} // namespace EncoderProcess
