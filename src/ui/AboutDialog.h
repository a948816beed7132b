#pragma once

#include <QDialog>

// The application's icon, name and version; Escape or the close button closes it.
class AboutDialog : public QDialog {
    Q_OBJECT

public:
    // "Version 1.4 (37)"; "?" for a missing part.
    static QString versionText(const QString& version, const QString& build);
    AboutDialog(const QString& version, const QString& build, QWidget* parent = nullptr);
};
