#pragma once

// The window's status line: what the session and the export report, in
// words. It follows the analyses ("Analyzing 2/5...", "Analysis complete.")
// and the export ("Exporting 3 files...", the summary at the end, which names
// the files left out for want of an analysis), and shows
// what the views hand it (a saved report, a settings file that could not be
// read).

#include "export/ExportRun.h"

#include <QObject>
#include <QString>
#include <QStringList>

class BatchSession;
class ExportSession;

class StatusLine : public QObject {
    Q_OBJECT

public:
    static inline const QString ready = QStringLiteral("Ready. Add audio files to begin.");
    static inline const QString analysisComplete = QStringLiteral("Analysis complete.");

    StatusLine(BatchSession& state, ExportSession& exports, QObject* parent = nullptr);

    const QString& text() const { return text_; }
    void show(const QString& text);
    // Shows `notice` after "Analysis complete." once the analyses running now
    // end, or at once when none is running.
    void showWhenAnalysed(const QString& notice);

    // "1 file", "3 files".
    static QString files(int64_t count);
    // "Exporting 3 files..."
    static QString exportStart(int64_t count);
    // A finished run: "Export complete!", or what was written, what failed
    // and why, and which outputs missed their promise.
    static QString exportSummary(const ExportRun::Summary& summary);
    // The heading of the desktop notification at a run's end, and where the
    // files went ("3 files written to /music/normalized."; empty when none
    // was), which it adds to the status line's words.
    static QString exportHeading(const ExportRun::Summary& summary);
    static QString exportWhere(const ExportRun::Summary& summary);

signals:
    void textChanged(const QString& text); // on every assignment

private:
    BatchSession& state_;
    QString text_ = ready;
    QString noticeWhenAnalysed_;
    int64_t shownExported_ = 0;
    QStringList notAnalysed_; // the names of the files an export started without
};
