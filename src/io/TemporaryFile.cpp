#include "io/TemporaryFile.h"

#include "io/Error.h"
#include "io/NativePath.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QUuid>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString prefix = QStringLiteral(".sonivel-");
const QString extensionPattern = QStringLiteral("[A-Za-z0-9]{1,8}");

bool sameInode(const struct stat& a, const struct stat& b) { return a.st_dev == b.st_dev && a.st_ino == b.st_ino; }

// Whether `path` still names the file open as `fd`.
bool stillNames(const QByteArray& path, int fd) {
    struct stat byName {
    }, byDescriptor{};
    return ::lstat(path.constData(), &byName) == 0 && ::fstat(fd, &byDescriptor) == 0 &&
           sameInode(byName, byDescriptor);
}

} // namespace

TemporaryFile::TemporaryFile(const QString& folder, const QString& extension) {
    const auto cannotCreate = [&](const QString& reason, Error::Kind kind = Error::Kind::file) {
        const QString where = QStringLiteral("Cannot create a file in \"%1\"").arg(QDir::toNativeSeparators(folder));
        return Failure(kind, reason.isEmpty() ? where : where + QStringLiteral(": ") + reason, folder);
    };
    // A clean-up of another run may catch the new file between its creation
    // and its lock, and remove it; then take another name.
    for (int attempt = 0; attempt < 16; ++attempt) {
        const QString name =
            prefix + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() + QLatin1Char('.') + extension;
        const QString path = QDir(folder).filePath(name);
        const QByteArray encoded = NativePath::encode(path);
        Interruption::TrackedPath tracked(encoded);
        if (tracked.refused())
            throw cannotCreate(QStringLiteral("the program is stopping"), Error::Kind::stopped);
        const int fd = ::open(encoded.constData(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (fd < 0) {
            if (errno == EEXIST)
                continue;
            throw cannotCreate(systemReason(errno));
        }
        tracked.created();
        // A file system without locks still gets the file; its clean-up
        // then never takes it for stale.
        const bool locked = ::flock(fd, LOCK_EX) == 0 || errno == ENOLCK || errno == EOPNOTSUPP;
        const bool ours = stillNames(encoded, fd);
        if (locked && ours) {
            path_ = path;
            fd_ = fd;
            tracked_ = std::move(tracked);
            return;
        }
        if (ours)
            ::unlink(encoded.constData());
        ::close(fd);
    }
    throw cannotCreate({});
}

TemporaryFile::~TemporaryFile() { discard(); }

TemporaryFile::TemporaryFile(TemporaryFile&& other) noexcept
    : path_(std::move(other.path_)), fd_(other.fd_), tracked_(std::move(other.tracked_)) {
    other.path_.clear();
    other.fd_ = -1;
}

void TemporaryFile::discard() noexcept {
    if (fd_ < 0)
        return;
    const QByteArray encoded = NativePath::encode(path_);
    // Only while the name is still this file: never remove what took its place.
    if (stillNames(encoded, fd_))
        ::unlink(encoded.constData());
    ::close(fd_);
    fd_ = -1;
}

void TemporaryFile::commitAs(const QString& finalPath) { commit(finalPath, true); }

bool TemporaryFile::commitAsNew(const QString& finalPath) { return commit(finalPath, false); }

bool TemporaryFile::commit(const QString& finalPath, bool replace) {
    const QByteArray from = NativePath::encode(path_);
    const QByteArray to = NativePath::encode(finalPath);
    const QString finalName = NativePath::shownName(finalPath);
    if (fd_ < 0 || !stillNames(from, fd_))
        throw Failure(Error::Kind::file,
                      QStringLiteral("Cannot write \"%1\": its temporary file was replaced").arg(finalName));
    if (::fsync(fd_) != 0)
        throw Failure(Error::Kind::file, QStringLiteral("Cannot write \"%1\": %2").arg(finalName, systemReason(errno)));
    if (replace) {
        if (::rename(from.constData(), to.constData()) != 0)
            throw Failure(Error::Kind::file,
                          QStringLiteral("Cannot replace \"%1\": %2").arg(finalName, systemReason(errno)));
    } else if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) != 0) {
        // A file system without the flag: a hard link is made only where no name is.
        if (errno != EINVAL && errno != ENOSYS) {
            if (errno == EEXIST)
                return false;
            throw Failure(Error::Kind::file,
                          QStringLiteral("Cannot write \"%1\": %2").arg(finalName, systemReason(errno)));
        }
        if (::link(from.constData(), to.constData()) != 0) {
            if (errno == EEXIST)
                return false;
            throw Failure(Error::Kind::file,
                          QStringLiteral("Cannot write \"%1\": %2").arg(finalName, systemReason(errno)));
        }
        ::unlink(from.constData());
    }
    // The rename itself reaches the disk with the folder.
    const int folder =
        ::open(NativePath::encode(QFileInfo(finalPath).absolutePath()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        ::fsync(folder);
        ::close(folder);
    }
    ::close(fd_);
    fd_ = -1;
    tracked_ = Interruption::TrackedPath();
    return true;
}

namespace TemporaryFiles {

bool isTemporaryName(const QString& fileName) {
    static const QRegularExpression pattern(
        QStringLiteral("^\\.sonivel-[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}\\.%1$")
            .arg(extensionPattern));
    return pattern.match(fileName).hasMatch();
}

int removeStale(const QString& folder) {
    const QStringList names = QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::System);
    int removed = 0;
    for (const QString& name : names) {
        if (!isTemporaryName(name))
            continue;
        const QByteArray path = NativePath::encode(QDir(folder).filePath(name));
        // Never blocks: not on a FIFO of that name, not on a live run's lock.
        const int fd = ::open(path.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0)
            continue;
        struct stat info {};
        if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && ::flock(fd, LOCK_EX | LOCK_NB) == 0 &&
            stillNames(path, fd) && ::unlink(path.constData()) == 0)
            ++removed;
        ::close(fd);
    }
    return removed;
}

} // namespace TemporaryFiles

void TemporaryFile::write(const char* data, qsizetype size) {
    qsizetype done = 0;
    while (done < size) {
        const ssize_t n = ::write(fd_, data + done, static_cast<size_t>(size - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            throw Failure(Error::Kind::file, systemReason(n < 0 ? errno : ENOSPC));
        done += n;
    }
}

namespace TemporaryFiles {

void replaceWith(const QString& finalPath, const QByteArray& bytes) {
    const QFileInfo target(finalPath);
    removeStale(target.absolutePath());
    static const QRegularExpression extension(QStringLiteral("^%1$").arg(extensionPattern));
    TemporaryFile file(target.absolutePath(),
                       extension.match(target.suffix()).hasMatch() ? target.suffix() : QStringLiteral("tmp"));
    try {
        file.write(bytes.constData(), bytes.size());
    } catch (const Failure& e) {
        throw Failure(Error::Kind::file,
                      QStringLiteral("Cannot write \"%1\": %2").arg(NativePath::shownName(finalPath), e.message()),
                      finalPath);
    }
    file.commitAs(finalPath);
}

} // namespace TemporaryFiles
