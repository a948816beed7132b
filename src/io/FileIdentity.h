#pragma once

#include <QString>

// Whether two paths name one file: the same device and inode, through
// symbolic links and hard links alike. A path that does not exist is the
// same as nothing. Guards every write against replacing a file the user listed.
bool isSameFile(const QString& a, const QString& b);
