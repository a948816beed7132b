#include "export/ExportErrors.h"

#include <QDir>
#include <QFileInfo>

namespace {

QString prefixFor(RenderError::Kind kind) {
    switch (kind) {
    case RenderError::Kind::cannotReadSource: return QStringLiteral("Cannot read source: ");
    case RenderError::Kind::cannotCreateOutput: return QStringLiteral("Cannot create output: ");
    case RenderError::Kind::ffmpegEncodeFailed: break;
    }
    return QStringLiteral("FFmpeg encode failed: ");
}

} // namespace

RenderError::RenderError(Kind kind, const QString& message) : ExportFailure(prefixFor(kind) + message), kind_(kind) {}

namespace ExportFiles {

void makeFolder(const QString& path) {
    if (!QDir().mkpath(path) || !QFileInfo(path).isDir())
        throw SystemError(QStringLiteral("Cannot create the folder \"%1\"").arg(path));
}

} // namespace ExportFiles
