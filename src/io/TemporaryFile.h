#pragma once

// How every file the program writes comes into being: as a new hidden file
// ".sonivel-<UUID>.<ext>" beside its final name, created exclusively (never
// through an existing name or link), locked while the run that made it
// lives, synced, and renamed over the final name at the end. The rename
// replaces the directory entry whatever it was (a file, a hard link, a
// symbolic link), so nothing is written through an existing file, and a
// reader sees the old file or the whole new one, never a mixture.

#include "io/Interruption.h"

#include <QString>

class TemporaryFile {
public:
    // Creates the file in `folder` (which must exist) with `extension`
    // ("wav", "mp3" ...). Throws a Failure.
    TemporaryFile(const QString& folder, const QString& extension);
    // Removes the file unless it was committed.
    ~TemporaryFile();
    TemporaryFile(TemporaryFile&& other) noexcept;
    TemporaryFile& operator=(TemporaryFile&&) = delete;
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const QString& path() const { return path_; }
    // Open for reading and writing from the start; owned by this object.
    int descriptor() const { return fd_; }
    // The name by which a child that inherited the descriptor opens the file.
    // An encoder writes through it, so it never makes a file of the
    // temporary name itself, not even after an interruption removed ours.
    QString descriptorPath() const { return QStringLiteral("/proc/self/fd/%1").arg(fd_); }
    // Appends `size` bytes at the descriptor's position. Throws a Failure
    // whose description is the system's reason alone.
    void write(const char* data, qsizetype size);

    // Syncs the file and renames it over `finalPath`; from then on it is no
    // longer temporary. Throws a Failure, and then the file is still removed
    // when this object goes. Fails when something replaced the temporary
    // name meanwhile.
    void commitAs(const QString& finalPath);
    // The same, but never over an existing name: false, and the file still
    // temporary, when something is there.
    bool commitAsNew(const QString& finalPath);

private:
    bool commit(const QString& finalPath, bool replace);
    void discard() noexcept;

    QString path_;
    int fd_ = -1;
    Interruption::TrackedPath tracked_;
};

namespace TemporaryFiles {

// Whether a file name has the temporary pattern.
bool isTemporaryName(const QString& fileName);

// Removes the temporary files in `folder` that no live run holds: those of
// a run that was killed or crashed. Returns how many it removed.
int removeStale(const QString& folder);

// Writes `bytes` as the whole new content of `finalPath`, the same way:
// beside it, then renamed over it. Throws a Failure.
void replaceWith(const QString& finalPath, const QByteArray& bytes);

} // namespace TemporaryFiles
