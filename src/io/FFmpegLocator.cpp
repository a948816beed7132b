#include "io/FFmpegLocator.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

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
    return QFileInfo(QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath()).absolutePath();
}

} // namespace

namespace FFmpegLocator {

FFmpegSearchPlaces defaultPlaces() {
    FFmpegSearchPlaces places;
    places.programDir = runningProgramDir();
    places.resourceDir = QDir::cleanPath(places.programDir + QStringLiteral("/../share/sonivel"));
    return places;
}

QString find() { return find(defaultPlaces()); }

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
        return *inPath;
    }
    for (const QString& candidate : places.fixedCandidates) {
        if (isExecutableFile(candidate)) {
            return candidate;
        }
    }
    return encoderName;
}

std::optional<QString> findInPath(const FFmpegSearchPlaces& places) {
    QStringList folders;
    if (places.searchPath) {
        folders = places.searchPath->split(QLatin1Char(':'), Qt::SkipEmptyParts);
        if (folders.isEmpty())
            return std::nullopt; // an empty list would mean our own PATH
    }
    const QString found = QStandardPaths::findExecutable(encoderName, folders);
    return found.isEmpty() ? std::nullopt : std::optional<QString>(found);
}

} // namespace FFmpegLocator
