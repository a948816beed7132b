#pragma once

// File names as the system gives them: bytes, usually but not always UTF-8
// (old disks and archives hold Latin-1 names). Qt's own conversions replace
// the bytes that are not UTF-8, so such a file could not be found again.
// Here each such byte b travels inside the QString as the lone surrogate
// U+DC00 + b, which no valid name contains, and turns back into the same
// byte on the way to the system. Shown to the user, it is U+FFFD.

#include <QByteArray>
#include <QString>
#include <QUrl>

namespace NativePath {

// The bytes for the system calls.
QByteArray encode(const QString& path);
// A name the system gave, every byte kept.
QString decode(const QByteArray& bytes);

// A local file URL's path, every byte kept (a file manager's drop
// percent-encodes the bytes as they are); empty for any other URL.
QString fromUrl(const QUrl& url);
// The file URL of `path` with its bytes.
QUrl toUrl(const QString& path);

// `path` made absolute against the working folder, as text (Qt's own way
// asks the system with the name's bytes replaced).
QString absolute(const QString& path);
// Whether something exists at `path` (through links).
bool exists(const QString& path);
// The absolute path with every link resolved, the same for every name of
// one file; empty when it does not exist.
QString canonical(const QString& path);

// For display: each kept byte as the replacement character.
QString shown(const QString& path);
// The last component of `path`, for display.
QString shownName(const QString& path);

} // namespace NativePath
