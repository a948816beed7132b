#include "ui/ClippingWarningDialog.h"

#include "export/ExportRun.h"

#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

ClippingWarningDialog::ClippingWarningDialog(const AppState& state, QWidget* parent)
    : QDialog(parent), limiter_(new QRadioButton(QStringLiteral("Apply limiter (ffmpeg alimiter — transparent brickwall)"))),
      anyway_(new QRadioButton(QStringLiteral("Export anyway (peaks will be clipped)"))) {
    setWindowTitle(QStringLiteral("Clipping"));
    setWindowModality(Qt::WindowModal);
    setMinimumWidth(500);
    auto* column = new QVBoxLayout(this);
    column->setSpacing(16);
    column->setContentsMargins(20, 20, 20, 20);
    const auto& files = state.clippingFiles();
    auto* headline = new QLabel(QStringLiteral("%1 file(s) will exceed 0 dBFS after correction:").arg(files.size()));
    QFont bold = headline->font();
    bold.setBold(true);
    headline->setFont(bold);
    column->addWidget(headline);
    auto* list = new QListWidget;
    list->setMaximumHeight(120);
    for (const ClippingFile& f : files) {
        auto* item = new QListWidgetItem;
        auto* row = new QWidget;
        auto* layout = new QHBoxLayout(row);
        layout->setContentsMargins(4, 0, 4, 0);
        layout->addWidget(new QLabel(f.fileName));
        layout->addStretch();
        auto* over = new QLabel(QString::asprintf("%.1f dB over", f.overshootDB));
        over->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
        over->setStyleSheet(QStringLiteral("color: #ff3b30"));
        layout->addWidget(over);
        item->setSizeHint(row->sizeHint());
        list->addItem(item);
        list->setItemWidget(item, row);
    }
    column->addWidget(list);
    column->addWidget(new QLabel(QStringLiteral("How would you like to handle this?")));
    limiter_->setChecked(true);
    column->addWidget(limiter_);
    column->addWidget(anyway_);
    if (const auto safe = ExportRun::computeSafeTarget(state.files())) {
        auto* tip = new QLabel(QString::asprintf("Tip: Set target to %.1f LUFS or lower to avoid clipping entirely.", *safe));
        tip->setObjectName(QStringLiteral("safeTargetTip"));
        tip->setStyleSheet(QStringLiteral("color: %1").arg(palette().color(QPalette::PlaceholderText).name()));
        column->addWidget(tip);
    }
    auto* buttons = new QDialogButtonBox;
    buttons->addButton(QDialogButtonBox::Cancel); // Escape
    QPushButton* exportButton = buttons->addButton(QStringLiteral("Export"), QDialogButtonBox::AcceptRole);
    exportButton->setDefault(true); // Return
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    column->addWidget(buttons);
}

bool ClippingWarningDialog::useLimiter() const { return limiter_->isChecked(); }
