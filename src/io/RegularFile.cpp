#include "io/RegularFile.h"

#include "io/NativePath.h"

#include <QFileInfo>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace RegularFile {

std::optional<QString> problem(const QString& path) {
    const QByteArray name = NativePath::encode(path);
    struct stat st {};
    if (::stat(name.constData(), &st) != 0)
        return errno == ENOENT ? QStringLiteral("not found") : systemReason(errno);
    if (S_ISDIR(st.st_mode))
        return QStringLiteral("a folder, not a file");
    if (S_ISFIFO(st.st_mode))
        return QStringLiteral("a named pipe, not a file");
    if (S_ISSOCK(st.st_mode))
        return QStringLiteral("a socket, not a file");
    if (S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode))
        return QStringLiteral("a device, not a file");
    if (!S_ISREG(st.st_mode))
        return QStringLiteral("not a regular file");
    // Opening tells what the permissions alone may not (access lists, a
    // read-only mount that refuses nothing, a file that vanished meanwhile).
    const int fd = ::open(name.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0)
        return errno == ENOENT ? QStringLiteral("not found") : systemReason(errno);
    ::close(fd);
    return std::nullopt;
}

void require(const QString& path) {
    if (const std::optional<QString> why = problem(path))
        throw Failure(Error::Kind::notAFile,
                      QStringLiteral("Cannot read \"%1\": %2").arg(NativePath::shownName(path), *why), path);
}

} // namespace RegularFile
