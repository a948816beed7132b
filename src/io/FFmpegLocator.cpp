#include "io/FFmpegLocator.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStringDecoder>

namespace {

const QString encoderName = QStringLiteral("ffmpeg");

bool isExecutableFile(const QString& path) {
    const QFileInfo info(path);
    return info.isFile() && info.isExecutable();
}

QString runningProgramDir() {
    if (QCoreApplication::instance()) {
        return QCoreApplication::applicationDirPath();
    }
    return QFileInfo(QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath())
        .absolutePath();
}

} // namespace

namespace FFmpegLocator {

FFmpegSearchPlaces defaultPlaces() {
    FFmpegSearchPlaces places;
    places.programDir = runningProgramDir();
    places.resourceDir = QDir::cleanPath(places.programDir + QStringLiteral("/../share/sonivel"));
    return places;
}

QString find() {
    return find(defaultPlaces());
}

QString find(const FFmpegSearchPlaces& places) {
    if (!places.resourceDir.isEmpty()) {
        const QString resource = QDir(places.resourceDir).filePath(encoderName);
        if (isExecutableFile(resource)) {
            return resource;
        }
    }
    if (!places.programDir.isEmpty()) {
        const QString beside = QDir(places.programDir).filePath(encoderName);
        if (isExecutableFile(beside)) {
            return beside;
        }
    }
    if (const std::optional<QString> inPath = findInPath(places)) {
        return *inPath; // taken as `which` printed it
    }
    for (const QString& candidate : places.fixedCandidates) {
        if (isExecutableFile(candidate)) {
            return candidate;
        }
    }
    return encoderName;
}

std::optional<QString> findInPath(const FFmpegSearchPlaces& places) {
    QProcess which;
    which.setProgram(places.whichProgram);
    which.setArguments({encoderName});
    which.setStandardInputFile(QProcess::nullDevice());
    if (places.searchPath) {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("PATH"), *places.searchPath);
        which.setProcessEnvironment(env);
    }
    which.start();
    if (!which.waitForStarted(-1)) {
        return std::nullopt;
    }
    which.waitForFinished(-1);
    if (which.exitStatus() != QProcess::NormalExit || which.exitCode() != 0) {
        return std::nullopt;
    }
    const QByteArray output = which.readAllStandardOutput();
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder.decode(output);
    if (decoder.hasError()) {
        return std::nullopt;
    }
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty()) {
        return std::nullopt;
    }
    return trimmed;
}

} // namespace FFmpegLocator
