#pragma once

#include <QDialog>

// The application's icon, name and version; Escape or the close button closes it.
class AboutDialog : public QDialog {
    Q_OBJECT

public:
    AboutDialog(const QString& version, const QString& build, QWidget* parent = nullptr);
};
