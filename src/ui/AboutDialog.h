#pragma once

#include <QDialog>

// The application's icon, name, version and licence, a link to its site and
// the libraries it runs on with their versions; Escape or Close closes it.
class AboutDialog : public QDialog {
    Q_OBJECT

public:
    AboutDialog(const QString& version, const QString& build, const QStringList& libraries, QWidget* parent = nullptr);
};
