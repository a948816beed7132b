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

struct Walk {
    const std::function<bool(const QString&)>& wanted;
    const std::function<void(QStringList&&)>& found;
    std::stop_token stop;
    QSet<std::pair<dev_t, ino_t>> read;
    QStringList out; // found and not handed over yet

    void handOver() {
        if (!out.isEmpty())
            found(std::exchange(out, {}));
    }
    void into(const QString& folder);
};

void Walk::into(const QString& folder) {
    for (const auto& [name, isFile] : entriesOf(folder)) {
        if (stop.stop_requested())
            return;
        const QString path = folder + QLatin1Char('/') + name;
        if (!isFile) {
            struct stat st {};
            if (::stat(NativePath::encode(path).constData(), &st) != 0)
                continue; // a broken link, or gone meanwhile
            if (S_ISDIR(st.st_mode) && !read.contains({st.st_dev, st.st_ino})) {
                read.insert({st.st_dev, st.st_ino});
                handOver(); // what lies before the folder, in order
                into(path);
            }
            if (!S_ISREG(st.st_mode))
                continue;
        }
        if (wanted(name))
            out << path;
    }
    handOver();
}

} // namespace

bool scan(const QString& folder, const std::function<bool(const QString& name)>& wanted,
          const std::function<void(QStringList&& files)>& found, std::stop_token stop) {
    struct stat st {};
    if (::stat(NativePath::encode(folder).constData(), &st) != 0 || !S_ISDIR(st.st_mode))
        return false;
    Walk walk{wanted, found, std::move(stop), {{st.st_dev, st.st_ino}}, {}};
    QString root = folder;
    while (root.size() > 1 && root.endsWith(QLatin1Char('/')))
        root.chop(1);
    walk.into(root);
    return true;
}

std::optional<QStringList> filesUnder(const QString& folder, const std::function<bool(const QString& name)>& wanted) {
    QStringList all;
    if (!scan(folder, wanted, [&](QStringList&& files) { all += files; }))
        return std::nullopt;
    return all;
}

} // namespace FolderScan
