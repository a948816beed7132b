#include "list/PathIdentity.h"

#include <QDir>
#include <QFileInfo>

bool isSameFile(const QString& a, const QString& b) {
    const QFileInfo fa(a), fb(b);
    const QString ca = fa.canonicalFilePath(), cb = fb.canonicalFilePath();
    if (!ca.isEmpty() && !cb.isEmpty())
        return ca == cb;
    return QDir::cleanPath(fa.absoluteFilePath()) == QDir::cleanPath(fb.absoluteFilePath());
}
