#include "ui/ClippingWarningDialog.h"

#include "session/ExportPlan.h"
#include "ui/PaintKit.h"

#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QTreeWidget>
#include <QVBoxLayout>

ClippingWarningDialog::ClippingWarningDialog(const std::vector<AudioFileItemPtr>& sources, double ceilingDBTP,
                                             QWidget* parent)
    : QDialog(parent),
      limiter_(new QRadioButton(QStringLiteral("Apply the limiter (it holds every true peak at the ceiling)"))),
      anyway_(new QRadioButton(QStringLiteral("Export anyway (peaks will be clipped)"))) {
    setWindowTitle(QStringLiteral("Clipping"));
    setWindowModality(Qt::WindowModal);
    setMinimumWidth(500);
    auto* column = new QVBoxLayout(this);
    column->setSpacing(16);
    column->setContentsMargins(20, 20, 20, 20);
    const std::vector<ClippingFile> files = ExportPlan::findClippingFiles(sources, ceilingDBTP);
    auto* headline = new QLabel(ExportPlan::clippingHeadline(files.size(), ceilingDBTP));
    QFont bold = headline->font();
    bold.setBold(true);
    headline->setFont(bold);
    column->addWidget(headline);
    auto* list = new QTreeWidget;
    list->setColumnCount(2);
    list->setHeaderHidden(true);
    list->setRootIsDecorated(false);
    list->setMaximumHeight(120);
    list->header()->setStretchLastSection(false);
    list->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    list->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    for (const ClippingFile& f : files) {
        auto* item = new QTreeWidgetItem(list, {f.fileName, QString::asprintf("%.1f dB over", f.overshootDB)});
        item->setTextAlignment(1, Qt::AlignRight | Qt::AlignVCenter);
        item->setForeground(1, QColor(255, 59, 48));
        item->setFont(1, QFontDatabase::systemFont(QFontDatabase::FixedFont));
    }
    column->addWidget(list);
    column->addWidget(new QLabel(QStringLiteral("How would you like to handle this?")));
    limiter_->setChecked(true);
    anyway_->setObjectName(QStringLiteral("exportAnyway"));
    column->addWidget(limiter_);
    column->addWidget(anyway_);
    if (const auto safe = ExportPlan::computeSafeTarget(sources, ceilingDBTP)) {
        auto* tip = new QLabel(ExportPlan::safeTargetTip(*safe));
        tip->setObjectName(QStringLiteral("safeTargetTip"));
        tip->setStyleSheet(PaintKit::secondaryTextStyle(palette()));
        column->addWidget(tip);
    }
    auto* buttons = new QDialogButtonBox;
    // Return exports wherever the focus is, Escape cancels: Cancel never
    // takes Return for itself.
    buttons->addButton(QDialogButtonBox::Cancel)->setAutoDefault(false);
    QPushButton* exportButton = buttons->addButton(QStringLiteral("Export"), QDialogButtonBox::AcceptRole);
    exportButton->setObjectName(QStringLiteral("exportButton"));
    exportButton->setDefault(true);
    exportButton->setStyleSheet(
        QStringLiteral("QPushButton { background: palette(highlight); color: palette(highlighted-text);"
                       " font-weight: bold; border-radius: 5px; padding: 4px 16px; }"));
    limiter_->setFocus();
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    column->addWidget(buttons);
}

bool ClippingWarningDialog::useLimiter() const { return limiter_->isChecked(); }
