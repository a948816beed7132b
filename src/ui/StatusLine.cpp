#include "ui/StatusLine.h"

#include "io/NativePath.h"
#include "session/BatchSession.h"
#include "session/ExportSession.h"

#include <QFileInfo>
#include <optional>

namespace {

// "a.wav, b.wav", or the first three and "..." for more.
QString someNames(const QStringList& names) {
    return names.size() > 3 ? names.mid(0, 3).join(QStringLiteral(", ")) + QStringLiteral(" ...")
                            : names.join(QStringLiteral(", "));
}

} // namespace

StatusLine::StatusLine(BatchSession& state, ExportSession& exports, QObject* parent) : QObject(parent), state_(state) {
    connect(&state, &BatchSession::analysisProgress, this, [this](int64_t done, int64_t total) {
        show(done == 0 ? QStringLiteral("Analyzing %1 file(s)...").arg(total)
                       : QStringLiteral("Analyzing %1/%2...").arg(done).arg(total));
    });
    connect(&state, &BatchSession::analysisFinished, this, [this] {
        QStringList failed;
        for (const AudioFileItemPtr& file : state_.files())
            if (file->analysisError())
                failed << NativePath::shownName(file->path());
        QString text = analysisComplete;
        if (!failed.isEmpty())
            text += QStringLiteral(" %1 could not be analysed: %2.").arg(files(failed.size()), someNames(failed));
        show(noticeWhenAnalysed_.isEmpty() ? text : text + QLatin1Char(' ') + noticeWhenAnalysed_);
        noticeWhenAnalysed_.clear();
    });
    connect(&exports, &ExportSession::rateLowered, this, [this](ExportFormat format) {
        show(rateLimit(format) + QStringLiteral("; the sample rate is now 48000 Hz."));
    });
    connect(&exports, &ExportSession::isExportingChanged, this, [this, &exports] {
        shownExported_ = 0;
        if (!exports.isExporting())
            return;
        notAnalysed_.clear();
        for (const AudioFileItemPtr& file : state_.files())
            if (!file->analysis())
                notAnalysed_ << NativePath::shownName(file->path());
        show(exportStart(exports.progress().total));
    });
    // A line when a file is done, not at every step of the bar.
    connect(&exports, &ExportSession::progressChanged, this, [this, &exports] {
        const ExportProgress p = exports.progress();
        if (!exports.isExporting() || p.current == shownExported_)
            return;
        shownExported_ = p.current;
        show(QStringLiteral("Exporting %1/%2...").arg(p.current).arg(p.total));
    });
    connect(&exports, &ExportSession::cancelling, this, [this] { show(QStringLiteral("Cancelling the export...")); });
    connect(&exports, &ExportSession::finished, this, [this](const ExportRun::Summary& summary) {
        show(notAnalysed_.isEmpty()
                 ? exportSummary(summary)
                 : exportSummary(summary) +
                       QStringLiteral(" Not exported (not analysed): %1.").arg(someNames(notAnalysed_)));
    });
}

void StatusLine::show(const QString& text) {
    text_ = text;
    emit textChanged(text_);
}

void StatusLine::showWhenAnalysed(const QString& notice) {
    if (state_.isAnalyzing())
        noticeWhenAnalysed_ = notice;
    else
        show(notice);
}

QString StatusLine::files(int64_t count) {
    return count == 1 ? QStringLiteral("1 file") : QStringLiteral("%1 files").arg(count);
}

QString StatusLine::exportStart(int64_t count) { return QStringLiteral("Exporting %1...").arg(files(count)); }

QString StatusLine::exportHeading(const ExportRun::Summary& summary) {
    return summary.cancelled                            ? QStringLiteral("Export cancelled")
           : summary.error || summary.failedCount() > 0 ? QStringLiteral("Export finished with errors")
                                                        : QStringLiteral("Export complete");
}

QString StatusLine::exportWhere(const ExportRun::Summary& summary) {
    // The folder that holds them all, the mirrored folders below it.
    std::optional<QStringList> common;
    for (const ExportRun::FileResult& f : summary.files) {
        if (!f.written)
            continue;
        const QStringList steps = QFileInfo(f.written->path).absolutePath().split(QLatin1Char('/'));
        if (!common)
            common = steps;
        qsizetype same = 0;
        while (same < common->size() && same < steps.size() && (*common)[same] == steps[same])
            ++same;
        common->resize(same);
    }
    return common ? QStringLiteral("%1 written to %2.")
                        .arg(files(summary.writtenCount()), NativePath::shown(common->join(QLatin1Char('/'))))
                  : QString();
}

QString StatusLine::exportSummary(const ExportRun::Summary& summary) {
    if (summary.error)
        return QStringLiteral("Export error: ") + summary.error->message;
    QStringList failures, held;
    for (const ExportRun::FileResult& f : summary.files) {
        if (f.error)
            failures << QStringLiteral("%1 (%2)").arg(NativePath::shownName(f.sourcePath), f.error->message);
        else if (f.written && f.written->offTarget)
            held << QStringLiteral("%1: %2").arg(NativePath::shownName(f.written->path), f.written->note);
    }
    QString text = summary.cancelled
                       ? QStringLiteral("Export cancelled: %1 written.").arg(files(summary.writtenCount()))
                   : failures.isEmpty() ? QStringLiteral("Export complete!")
                                        : QStringLiteral("Export finished: %1 written, %2 failed: %3.")
                                              .arg(files(summary.writtenCount()), files(summary.failedCount()),
                                                   failures.join(QStringLiteral("; ")));
    if (const int64_t kept = summary.upToDateCount(); kept > 0)
        text += QStringLiteral(" %1 up to date, left as %2.").arg(files(kept), kept == 1 ? "it was" : "they were");
    if (!held.isEmpty())
        text += QStringLiteral(" Off target: %1.").arg(held.join(QStringLiteral("; ")));
    return text;
}
