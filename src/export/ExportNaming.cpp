#include "export/ExportNaming.h"

#include "export/ExportErrors.h"
#include "io/NativePath.h"

#include <QDir>
#include <QFileInfo>
#include <unistd.h>

namespace ExportNaming {

namespace {

// The longest tail a stem can get: a number, the longest figure, the extension.
int longestTailBytes(ExportFormat format) {
    return static_cast<int>((QStringLiteral(" (9999) (-100LUFS).") + fileExtension(format)).toUtf8().size());
}

QString shortened(const QString& stem, int maxBytes) {
    QString s = stem;
    while (!s.isEmpty() && NativePath::encode(s).size() > maxBytes) {
        s.chop(1);
        if (!s.isEmpty() && s.back().isHighSurrogate())
            s.chop(1);
    }
    return s.trimmed();
}

} // namespace

QString figureText(double loudnessLUFS, bool isSilent) {
    return isSilent ? QStringLiteral(" (silent)")
                    : QStringLiteral(" (%1LUFS)").arg(QString::asprintf("%.0f", loudnessLUFS));
}

QString fileName(const QString& stem, double loudnessLUFS, bool isSilent, ExportFormat format) {
    return stem + figureText(loudnessLUFS, isSilent) + QLatin1Char('.') + fileExtension(format);
}

QStringList distinctStems(const QStringList& sourcePaths, ExportFormat format, int nameMax) {
    const int room = std::max(nameMax - longestTailBytes(format), 8);
    QStringList stems;
    QSet<QString> taken;
    for (const QString& path : sourcePaths) {
        // completeBaseName: only the last extension goes ("My.Song.aiff" → "My.Song").
        QString base = shortened(QFileInfo(path).completeBaseName(), room);
        if (base.isEmpty())
            base = QStringLiteral("Untitled");
        QString stem = base;
        for (int k = 2; taken.contains(stem.toCaseFolded()); ++k)
            stem = QStringLiteral("%1 (%2)").arg(base).arg(k);
        taken.insert(stem.toCaseFolded());
        stems << stem;
    }
    return stems;
}

QString alreadyExists(const QString& name) {
    return QStringLiteral("\"%1\" already exists; it was left as it is").arg(NativePath::shown(name));
}

int nameMaxOf(const QString& folder) {
    const long max = ::pathconf(NativePath::encode(folder).constData(), _PC_NAME_MAX);
    return max > 0 ? static_cast<int>(std::min<long>(max, 4096)) : 255;
}

} // namespace ExportNaming

OutputNames::OutputNames(QString folder, ExistingOutputs existing, const QStringList& sourcePaths)
    : folder_(std::move(folder)), existing_(existing) {
    for (const QString& path : sourcePaths) {
        if (const auto id = fileIdOf(path))
            sources_.insert(*id);
    }
}

QString OutputNames::commit(TemporaryFile& file, const QString& stem, const QString& figureAndExtension) {
    const std::lock_guard lock(mutex_);
    for (int k = 1;; ++k) {
        const QString name = (k == 1 ? stem : QStringLiteral("%1 (%2)").arg(stem).arg(k)) + figureAndExtension;
        const QString path = QDir(folder_).filePath(name);
        // The mirrored tree's folders are made as their first file arrives.
        if (name.contains(QLatin1Char('/')))
            ExportFiles::makeFolder(QFileInfo(path).path());
        const std::optional<FileId> there = fileIdOf(path);
        if (claimed_.contains(name.toCaseFolded()) || (there && sources_.count(*there) > 0))
            continue;
        if (there && existing_ == ExistingOutputs::skip)
            throw Failure(Error::Kind::exists, ExportNaming::alreadyExists(name));
        if (existing_ == ExistingOutputs::replace) {
            file.commitAs(path);
        } else if (!file.commitAsNew(path)) {
            // Made meanwhile, by another program.
            if (existing_ == ExistingOutputs::skip)
                throw Failure(Error::Kind::exists, ExportNaming::alreadyExists(name));
            continue;
        }
        claimed_.insert(name.toCaseFolded());
        return path;
    }
}
