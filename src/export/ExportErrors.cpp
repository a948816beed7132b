#include "export/ExportErrors.h"

#include "io/AudioFileWriter.h"
#include "io/NativePath.h"

#include <QDir>
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace ExportFiles {

QStringList makeFolder(const QString& path) {
    // Each missing folder on the way, so that the reason names the one that failed.
    const QString absolute = NativePath::absolute(path);
    QStringList created;
    QString made;
    for (const QString& part : absolute.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        made += QLatin1Char('/') + part;
        const QByteArray encoded = NativePath::encode(made);
        struct stat info {};
        if (::stat(encoded.constData(), &info) == 0) {
            if (!S_ISDIR(info.st_mode))
                throw Failure(Error::Kind::file, QStringLiteral("Cannot create the folder \"%1\": \"%2\" is a file")
                                                     .arg(NativePath::shown(absolute), NativePath::shown(made)));
            continue;
        }
        if (::mkdir(encoded.constData(), 0777) == 0)
            created << made;
        else if (errno != EEXIST)
            throw Failure(Error::Kind::file, QStringLiteral("Cannot create the folder \"%1\": %2")
                                                 .arg(NativePath::shown(made), WriteFailure::reason(errno)));
    }
    return created;
}

void removeIfEmpty(const QStringList& made) {
    for (auto folder = made.rbegin(); folder != made.rend(); ++folder)
        ::rmdir(NativePath::encode(*folder).constData()); // fails, as it should, on a folder with anything in it
}

} // namespace ExportFiles
