#include "io/TagRewrite.h"

#include "io/Error.h"
#include "io/NativePath.h"
#include "io/TemporaryFile.h"

#include <QDir>
#include <QFileInfo>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

Failure failure(const QString& path, const QString& reason) {
    return Failure(Error::Kind::file, QStringLiteral("Cannot tag \"%1\": %2").arg(NativePath::shown(path), reason),
                   path);
}

// Closes a descriptor when it goes.
struct Descriptor {
    int fd = -1;
    explicit Descriptor(int f) : fd(f) {}
    ~Descriptor() {
        if (fd >= 0)
            ::close(fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
};

int openOrFail(const QString& path, int flags) {
    const int fd = ::open(NativePath::encode(path).constData(), flags | O_CLOEXEC);
    if (fd < 0)
        throw failure(path, systemReason(errno));
    return fd;
}

// Copies every byte of `from` into `to` from its start, and cuts `to` there.
void copyWhole(int from, int to, const QString& path) {
    if (::lseek(from, 0, SEEK_SET) < 0 || ::lseek(to, 0, SEEK_SET) < 0)
        throw failure(path, systemReason(errno));
    char buffer[1 << 16];
    off_t total = 0;
    for (;;) {
        const ssize_t n = ::read(from, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            throw failure(path, systemReason(errno));
        if (n == 0)
            break;
        for (ssize_t done = 0; done < n;) {
            const ssize_t w = ::write(to, buffer + done, static_cast<size_t>(n - done));
            if (w < 0 && errno == EINTR)
                continue;
            if (w <= 0)
                throw failure(path, systemReason(w < 0 ? errno : ENOSPC));
            done += w;
        }
        total += n;
    }
    if (::ftruncate(to, total) != 0 || ::fsync(to) != 0)
        throw failure(path, systemReason(errno));
}

struct stat statOf(int fd, const QString& path) {
    struct stat st {};
    if (::fstat(fd, &st) != 0)
        throw failure(path, systemReason(errno));
    return st;
}

bool unchanged(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

void setTimes(int fd, const struct stat& like) {
    const timespec times[2] = {like.st_atim, like.st_mtim};
    ::futimens(fd, times);
}

} // namespace

namespace TagRewrite {

bool restoreInterrupted(const QString& path) {
    const QString kept = keptCopyOf(path);
    if (!QFileInfo::exists(kept))
        return false;
    const Descriptor from(openOrFail(kept, O_RDONLY));
    const Descriptor to(openOrFail(path, O_WRONLY));
    copyWhole(from.fd, to.fd, path);
    setTimes(to.fd, statOf(from.fd, kept));
    ::unlink(NativePath::encode(kept).constData());
    return true;
}

QString keptCopyOf(const QString& path) {
    const QFileInfo file(path);
    return file.dir().filePath(QStringLiteral(".%1.sonivel-untagged").arg(file.fileName()));
}

void rewrite(const QString& given, const std::function<void(const QString&)>& edit, Options options) {
    // A symbolic link keeps pointing at the file, which is tagged where it lies.
    const QString path = QFileInfo(given).canonicalFilePath().isEmpty() ? given : QFileInfo(given).canonicalFilePath();
    restoreInterrupted(path);

    const Descriptor source(openOrFail(path, O_RDONLY));
    const struct stat before = statOf(source.fd, path);
    if (!S_ISREG(before.st_mode))
        throw failure(path, QStringLiteral("not a regular file"));
    if (::access(NativePath::encode(path).constData(), W_OK) != 0)
        throw failure(path, errno == EACCES || errno == EROFS ? QStringLiteral("the file is read-only")
                                                              : systemReason(errno));

    const QFileInfo info(path);
    // The copy keeps the extension, by which tag writers know the kind of file.
    TemporaryFile copy(info.absolutePath(), info.suffix());
    copyWhole(source.fd, copy.descriptor(), path);
    try {
        edit(copy.path());
    } catch (const Failure& e) {
        throw failure(path, e.message());
    }

    const auto stillAsBefore = [&] {
        struct stat now {};
        if (::stat(NativePath::encode(path).constData(), &now) != 0 || !unchanged(now, before))
            throw failure(path, QStringLiteral("it changed while it was being tagged; it was left as it is"));
    };
    // A rename keeps the file whole at every moment, where it can keep the
    // file's owner and its links.
    const bool ownerKept = (before.st_uid == ::geteuid() && before.st_gid == ::getegid()) ||
                           ::fchown(copy.descriptor(), before.st_uid, before.st_gid) == 0;
    if (before.st_nlink == 1 && ownerKept) {
        if (::fchmod(copy.descriptor(), before.st_mode & 07777) != 0)
            throw failure(path, systemReason(errno));
        if (options.keepModificationTime)
            setTimes(copy.descriptor(), before);
        stillAsBefore();
        copy.commitAs(path);
        return;
    }

    // In place, with the old bytes kept beside until the new ones are synced.
    TemporaryFile keep(info.absolutePath(), QStringLiteral("tag"));
    copyWhole(source.fd, keep.descriptor(), path);
    setTimes(keep.descriptor(), before);
    stillAsBefore();
    if (!keep.commitAsNew(keptCopyOf(path)))
        throw failure(path, QStringLiteral("a copy of an earlier tagging is in the way: %1")
                                .arg(NativePath::shownName(keptCopyOf(path))));
    const Descriptor target(openOrFail(path, O_WRONLY));
    try {
        copyWhole(copy.descriptor(), target.fd, path);
    } catch (const Failure&) {
        restoreInterrupted(path);
        throw;
    }
    if (options.keepModificationTime)
        setTimes(target.fd, before);
    ::unlink(NativePath::encode(keptCopyOf(path)).constData());
}

} // namespace TagRewrite
