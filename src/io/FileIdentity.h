#pragma once

#include <QString>
#include <cstdint>
#include <optional>

// Whether two paths name one file: the same device and inode, through
// symbolic links and hard links alike. A path that does not exist is the
// same as nothing. Guards every write against replacing a file the user listed.
bool isSameFile(const QString& a, const QString& b);

// A file's device and inode, through links; none when nothing is there.
struct FileId {
    uint64_t device = 0;
    uint64_t inode = 0;
    friend bool operator==(const FileId&, const FileId&) = default;
    friend auto operator<=>(const FileId&, const FileId&) = default;
};
std::optional<FileId> fileIdOf(const QString& path);
