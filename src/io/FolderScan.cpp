#include "io/FolderScan.h"

#include "io/NativePath.h"

#include <QSet>
#include <algorithm>
#include <dirent.h>
#include <sys/stat.h>
#include <utility>

namespace FolderScan {

namespace {

// The entries of one folder but "." and "..", by name, case aside.
QStringList entriesOf(const QString& folder) {
    QStringList names;
    if (DIR* dir = ::opendir(NativePath::encode(folder).constData())) {
        while (const dirent* entry = ::readdir(dir))
            if (entry->d_name[0] != '.') // hidden, or the folder itself and its parent
                names << NativePath::decode(entry->d_name);
        ::closedir(dir);
    }
    std::sort(names.begin(), names.end(), [](const QString& a, const QString& b) {
        const int folded = a.compare(b, Qt::CaseInsensitive);
        return folded != 0 ? folded < 0 : a < b;
    });
    return names;
}

void scan(const QString& folder, const std::function<bool(const QString&)>& wanted, QSet<std::pair<dev_t, ino_t>>& read,
          QStringList& out) {
    for (const QString& name : entriesOf(folder)) {
        const QString path = folder + QLatin1Char('/') + name;
        struct stat st {};
        if (::stat(NativePath::encode(path).constData(), &st) != 0)
            continue; // a broken link, or gone meanwhile
        if (S_ISDIR(st.st_mode)) {
            if (!read.contains({st.st_dev, st.st_ino})) {
                read.insert({st.st_dev, st.st_ino});
                scan(path, wanted, read, out);
            }
        } else if (S_ISREG(st.st_mode) && wanted(name)) {
            out << path;
        }
    }
}

} // namespace

bool isFolder(const QString& path) {
    struct stat st {};
    return ::stat(NativePath::encode(path).constData(), &st) == 0 && S_ISDIR(st.st_mode);
}

QStringList filesUnder(const QString& folder, const std::function<bool(const QString& name)>& wanted) {
    QStringList out;
    struct stat st {};
    if (::stat(NativePath::encode(folder).constData(), &st) != 0 || !S_ISDIR(st.st_mode))
        return out;
    QSet<std::pair<dev_t, ino_t>> read{{st.st_dev, st.st_ino}};
    QString root = folder;
    while (root.size() > 1 && root.endsWith(QLatin1Char('/')))
        root.chop(1);
    scan(root, wanted, read, out);
    return out;
}

} // namespace FolderScan
