#include "ui/AboutDialog.h"

#include "ui/Icons.h"
#include "ui/PaintKit.h"

#include <QApplication>
#include <QGraphicsDropShadowEffect>
#include <QLabel>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

// "Version 1.4 (37)"; "?" for a missing part.
QString versionText(const QString& version, const QString& build) {
    const auto orUnknown = [](const QString& s) { return s.isEmpty() ? QStringLiteral("?") : s; };
    return QStringLiteral("Version %1 (%2)").arg(orUnknown(version), orUnknown(build));
}

} // namespace

AboutDialog::AboutDialog(const QString& version, const QString& build, QWidget* parent) : QDialog(parent) {
    setWindowTitle(QStringLiteral("About Sonivel"));
    setFixedSize(300, 280);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(20, 24, 20, 20);
    column->setSpacing(8);
    QLabel* icon = Icons::appIconLabel(80, 18, 8, 4);
    auto* name = new QLabel(QStringLiteral("Sonivel"));
    QFont bold = name->font();
    bold.setBold(true);
    bold.setPixelSize(18);
    name->setFont(bold);
    name->setAlignment(Qt::AlignCenter);
    auto* versionLabel = new QLabel(versionText(version, build));
    versionLabel->setObjectName(QStringLiteral("version"));
    QFont small = versionLabel->font();
    small.setPixelSize(12);
    versionLabel->setFont(small);
    versionLabel->setAlignment(Qt::AlignCenter);
    versionLabel->setStyleSheet(PaintKit::secondaryTextStyle(palette()));
    column->addWidget(icon);
    column->addWidget(name);
    column->addWidget(versionLabel);
    column->addStretch();
    auto* close = new QToolButton(this);
    close->setObjectName(QStringLiteral("close"));
    close->setAutoRaise(true);
    close->setFixedSize(22, 22);
    close->setIcon(
        QIcon(Icons::tinted(QStringLiteral("window-close"), palette().color(QPalette::PlaceholderText), 22)));
    close->setToolTip(QStringLiteral("Close"));
    close->move(width() - 22 - 10, 10);
    connect(close, &QToolButton::clicked, this, &QDialog::reject); // Escape rejects too
}
