#pragma once

// What a check for updates shows: that the installed version is the newest,
// an offer of a newer one with its release notes and a button that opens
// its download page in the browser, or why the check failed. Versions are
// given as they are shown, "1.3.0 (57)". Release notes are limited rich
// text; nothing they refer to is loaded.

#include <QString>
#include <QUrl>

class QDialog;
class QWidget;

namespace UpdateDialogs {

struct Offer {
    QString offeredVersion;
    QString installedVersion;
    QString releaseNotes; // HTML or plain text
    QUrl releaseNotesLink;
    QUrl downloadPage;
};

// Each dialog deletes itself when closed; the caller shows it.
QDialog* upToDate(QWidget* parent, const QString& installedVersion);
QDialog* offer(QWidget* parent, const Offer& offer);
QDialog* failure(QWidget* parent, const QString& error);

// Asked once: whether to look for updates automatically (once a day).
bool askAboutAutomaticChecks(QWidget* parent);

} // namespace UpdateDialogs
