#include "export/EncoderProcess.h"

#include "export/ExportErrors.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

namespace EncoderProcess {

EncoderRun run(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setProgram(program);
    process.setArguments(arguments);
    process.start();
    if (!process.waitForStarted(-1)) {
        throw SystemError(QStringLiteral("Cannot start the encoder \"%1\": %2")
                              .arg(program, process.errorString()));
    }
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

namespace ExportFiles {

void makeFolder(const QString& path) {
    if (!QDir().mkpath(path) || !QFileInfo(path).isDir())
        throw SystemError(QStringLiteral("Cannot create the folder \"%1\"").arg(path));
}

void remove(const QString& path) {
    QFile file(path);
    if (file.exists() && !file.remove()) {
        throw SystemError(QStringLiteral("Cannot delete \"%1\": %2")
                              .arg(QFileInfo(path).fileName(), file.errorString()));
    }
}

void TemporaryFile::remove() {
    ExportFiles::remove(path_);
    path_.clear();
}

void move(const QString& from, const QString& to) {
    remove(to);
    QFile file(from);
    if (!file.rename(to)) {
        throw SystemError(QStringLiteral("Cannot move \"%1\" to \"%2\": %3")
                              .arg(QFileInfo(from).fileName(), QFileInfo(to).fileName(),
                                   file.errorString()));
    }
}

} // namespace ExportFiles
