#pragma once

// The files under a folder, as a music library is laid out: every level
// read, in path order (each folder's entries by name, case aside, a folder's
// contents where its name falls), hidden files and folders (a name that
// starts with a dot) left out. A link to a folder is followed, but no folder
// is read twice, so a link that loops back is entered once. Names keep every
// byte (NativePath).

#include <QString>
#include <QStringList>
#include <functional>
#include <optional>
#include <stop_token>

namespace FolderScan {

// The regular files under `folder` for which `wanted` (given the name)
// holds; none when `folder` is no folder (through links).
std::optional<QStringList> filesUnder(const QString& folder, const std::function<bool(const QString& name)>& wanted);

// The same, handing the files to `found` as they are found, in the same
// order, a folder's worth (or less) at a time, and ending early once `stop`
// is requested; false when `folder` is no folder.
bool scan(const QString& folder, const std::function<bool(const QString& name)>& wanted,
          const std::function<void(QStringList&& files)>& found, std::stop_token stop = {});

} // namespace FolderScan
