#include "io/FileIdentity.h"

#include "io/NativePath.h"

#include <sys/stat.h>

std::optional<FileId> fileIdOf(const QString& path) {
    struct stat info {};
    if (::stat(NativePath::encode(path).constData(), &info) != 0)
        return std::nullopt;
    return FileId{static_cast<uint64_t>(info.st_dev), static_cast<uint64_t>(info.st_ino)};
}

bool isSameFile(const QString& a, const QString& b) {
    const std::optional<FileId> ia = fileIdOf(a);
    return ia && ia == fileIdOf(b);
}
