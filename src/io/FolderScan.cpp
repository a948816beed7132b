#include "io/FolderScan.h"

#include "io/NativePath.h"

#include <QSet>
#include <algorithm>
#include <dirent.h>
#include <sys/stat.h>
#include <utility>

namespace FolderScan {

namespace {

struct Entry {
    QString name;
    bool isFile = false; // a regular file by the folder's own word, which needs no stat
};

// The entries of one folder but "." and "..", by name, case aside.
std::vector<Entry> entriesOf(const QString& folder) {
    std::vector<Entry> entries;
    if (DIR* dir = ::opendir(NativePath::encode(folder).constData())) {
        while (const dirent* entry = ::readdir(dir))
            if (entry->d_name[0] != '.') // hidden, or the folder itself and its parent
                entries.push_back({NativePath::decode(entry->d_name), entry->d_type == DT_REG});
        ::closedir(dir);
    }
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        const int folded = a.name.compare(b.name, Qt::CaseInsensitive);
        return folded != 0 ? folded < 0 : a.name < b.name;
    });
    return entries;
}

void scan(const QString& folder, const std::function<bool(const QString&)>& wanted, QSet<std::pair<dev_t, ino_t>>& read,
          QStringList& out) {
    for (const auto& [name, isFile] : entriesOf(folder)) {
        const QString path = folder + QLatin1Char('/') + name;
        if (!isFile) {
            struct stat st {};
            if (::stat(NativePath::encode(path).constData(), &st) != 0)
                continue; // a broken link, or gone meanwhile
            if (S_ISDIR(st.st_mode) && !read.contains({st.st_dev, st.st_ino})) {
                read.insert({st.st_dev, st.st_ino});
                scan(path, wanted, read, out);
            }
            if (!S_ISREG(st.st_mode))
                continue;
        }
        if (wanted(name))
            out << path;
    }
}

} // namespace

std::optional<QStringList> filesUnder(const QString& folder, const std::function<bool(const QString& name)>& wanted) {
    struct stat st {};
    if (::stat(NativePath::encode(folder).constData(), &st) != 0 || !S_ISDIR(st.st_mode))
        return std::nullopt;
    QStringList out;
    QSet<std::pair<dev_t, ino_t>> read{{st.st_dev, st.st_ino}};
    QString root = folder;
    while (root.size() > 1 && root.endsWith(QLatin1Char('/')))
        root.chop(1);
    scan(root, wanted, read, out);
    return out;
}

} // namespace FolderScan
