#pragma once

// How the program changes the tags of a file it did not write, the one
// change it makes to a user's file, and only when asked: so that a crash, a
// kill or a full disk never leaves the file damaged or half tagged.
//
// The file is copied beside itself (a temporary file), the copy's tags are
// changed, and the copy, synced and given the file's owner and permissions,
// is renamed over the file. A file with other hard links would lose them
// that way; its new bytes are written into it in place instead, with a whole
// copy of the old ones kept beside it (".NAME.sonivel-untagged") until they
// are synced. A copy found there at the next rewrite was left by one that was
// cut short, and is put back first.

#include <QString>
#include <functional>

namespace TagRewrite {

struct Options {
    bool keepModificationTime = false;
};

// Applies `edit` (which changes the tags of the file at the path it is
// given, with the file's extension, and throws a Failure whose message is
// the reason alone) to a copy of `path`, then puts the copy in
// its place. A file that changed meanwhile is left as it was. Throws a
// Failure; the file is then as it was. An interrupted rewrite is undone first.
void rewrite(const QString& path, const std::function<void(const QString& copy)>& edit, Options options = {});

// Puts back the copy an interrupted in-place rewrite of `path` left, if
// there is one, and says whether there was. Throws a Failure.
bool restoreInterrupted(const QString& path);

// The name of the copy kept while a hard-linked file is written in place.
QString keptCopyOf(const QString& path);

} // namespace TagRewrite
