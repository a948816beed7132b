#include "io/FileIdentity.h"

#include "io/NativePath.h"

#include <sys/stat.h>

bool isSameFile(const QString& a, const QString& b) {
    struct stat sa {
    }, sb{};
    if (::stat(NativePath::encode(a).constData(), &sa) != 0 || ::stat(NativePath::encode(b).constData(), &sb) != 0)
        return false;
    return sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}
