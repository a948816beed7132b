#include "ui/AboutDialog.h"

#include "ui/Icons.h"
#include "ui/PaintKit.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QLabel>
#include <QVBoxLayout>

namespace {

// "Version 1.4 (37)"; "?" for a missing part.
QString versionText(const QString& version, const QString& build) {
    const auto orUnknown = [](const QString& s) { return s.isEmpty() ? QStringLiteral("?") : s; };
    return QStringLiteral("Version %1 (%2)").arg(orUnknown(version), orUnknown(build));
}

} // namespace

AboutDialog::AboutDialog(const QString& version, const QString& build, const QStringList& libraries, QWidget* parent)
    : QDialog(parent) {
    setWindowTitle(QStringLiteral("About Sonivel"));
    setMinimumWidth(380);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(24, 24, 24, 20);
    column->setSpacing(8);
    QLabel* icon = Icons::appIconLabel(80, 18, 8, 4);
    auto* name = new QLabel(QStringLiteral("Sonivel"));
    QFont bold = name->font();
    bold.setBold(true);
    bold.setPixelSize(18);
    name->setFont(bold);
    auto* versionLabel = new QLabel(versionText(version, build));
    versionLabel->setObjectName(QStringLiteral("version"));
    auto* what = new QLabel(QStringLiteral("Evens out the loudness of a batch of audio files."));
    auto* licence = new QLabel(QStringLiteral("© 2026 The Sonivel developers. All rights reserved."));
    licence->setObjectName(QStringLiteral("licence"));
    auto* link = new QLabel(QStringLiteral("<a href=\"%1\">%1</a>").arg(QStringLiteral("https://sonivel.org/")));
    link->setObjectName(QStringLiteral("link"));
    link->setOpenExternalLinks(true);
    link->setTextInteractionFlags(Qt::TextBrowserInteraction);
    // The libraries, each with the version found at run time, for a bug report.
    auto* built = new QLabel(QStringLiteral("Built on ") + libraries.join(QStringLiteral(", ")) + QLatin1Char('.'));
    built->setObjectName(QStringLiteral("libraries"));
    built->setWordWrap(true);
    built->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QFont small = built->font();
    small.setPixelSize(11);
    for (QLabel* secondary : {versionLabel, built}) {
        secondary->setFont(small);
        secondary->setStyleSheet(PaintKit::secondaryTextStyle(palette()));
    }
    for (QLabel* line : {name, versionLabel, what, licence, link, built})
        line->setAlignment(Qt::AlignCenter);
    column->addWidget(icon);
    for (QLabel* line : {name, versionLabel, what, licence, link, built})
        column->addWidget(line);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject); // Escape rejects too
    column->addSpacing(8);
    column->addWidget(buttons);
}
