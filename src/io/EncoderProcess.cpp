#include "io/EncoderProcess.h"

#include "io/Error.h"
#include "io/FFmpegLocator.h"
#include "io/Interruption.h"

#include <QProcess>
#include <QRegularExpression>

QString EncoderRun::reason(const QString& written, const QString& shownName) const {
    // "[mp3float @ 0x55d0c8] Header missing": the part before the words is
    // for FFmpeg's developers.
    static const QRegularExpression context(QStringLiteral("^\\[[^\\]]* @ 0x[0-9a-fA-F]+\\]\\s*"));
    for (QString line : errorOutput.split(QLatin1Char('\n'))) {
        line = line.trimmed().remove(context);
        if (!line.isEmpty())
            return line.replace(written, shownName).left(200);
    }
    return QStringLiteral("the encoder stopped with exit code %1 and no message").arg(exitCode);
}

namespace EncoderProcess {

void prepare(QProcess& process, const QString& program, const QStringList& arguments, int passedDescriptor) {
    process.setProgram(program);
    process.setArguments(FFmpegLocator::quietArguments + arguments);
    process.setStandardInputFile(QProcess::nullDevice());
    Interruption::prepareChild(process, passedDescriptor);
}

EncoderRun run(const QString& program, const QStringList& arguments, int passedDescriptor) {
    QProcess process;
    prepare(process, program, arguments, passedDescriptor);
    process.setStandardOutputFile(QProcess::nullDevice());
    process.start();
    if (!process.waitForStarted(-1)) {
        throw Failure(Error::Kind::file,
                      QStringLiteral("Cannot start the encoder \"%1\": %2").arg(program, process.errorString()));
    }
    const Interruption::TrackedChild tracked(static_cast<pid_t>(process.processId()));
    // waitForFinished keeps reading standard error into the process's buffer.
    process.waitForFinished(-1);
    EncoderRun result;
    result.errorOutput = QString::fromUtf8(process.readAllStandardError());
    // A crash has no exit status of its own; report it as a failure with -1.
    result.exitCode = process.exitStatus() == QProcess::CrashExit ? -1 : process.exitCode();
    if (process.exitStatus() == QProcess::CrashExit && result.errorOutput.isEmpty())
        result.errorOutput = QStringLiteral("the encoder crashed");
    return result;
}

} // namespace EncoderProcess
