#include "ui/CorrectionDelegate.h"
#include "ui/PaintKit.h"

#include <QAbstractItemView>
#include <QFontDatabase>
#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QToolTip>
#include <cmath>

namespace {

constexpr int repeatDelayMs = 300;
constexpr int repeatIntervalMs = 100;

} // namespace

CorrectionDelegate::CorrectionDelegate(QAbstractItemView* view, int column,
                                       std::function<AudioFileItemPtr(int row)> fileAt, std::function<void()> onChanged)
    : QStyledItemDelegate(view), view_(view), viewport_(view->viewport()), column_(column), fileAt_(std::move(fileAt)),
      onChanged_(std::move(onChanged)) {
    viewport_->installEventFilter(this);
    viewport_->setMouseTracking(true); // the drag cursor over the values
    connect(&repeat_, &QTimer::timeout, this, [this] {
        repeat_.setInterval(repeatIntervalMs);
        stepOnce();
    });
}

double CorrectionDelegate::afterDrag(double start, double dy) {
    const double raw = std::round((start - dy / pointsPerDB) * 10.0) / 10.0; // halves away from zero
    return std::clamp(raw, minimumDB, maximumDB);
}

CorrectionDelegate::Parts CorrectionDelegate::partsOf(const QRect& cell) {
    const int arrowHeight = std::max(8, cell.height() / 2 - 1);
    const int middle = cell.top() + cell.height() / 2;
    Parts parts;
    parts.value = QRect(cell.left() + 2, cell.top(), 50, cell.height());
    parts.up = QRect(parts.value.right() + 3, middle - arrowHeight, 16, arrowHeight);
    parts.down = QRect(parts.up.left(), middle, 16, arrowHeight);
    parts.unit = QRect(parts.up.right() + 3, cell.top(), 24, cell.height());
    return parts;
}

void CorrectionDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
    QStyleOptionViewItem background = option;
    initStyleOption(&background, index);
    background.text.clear();
    const QWidget* widget = option.widget;
    widget->style()->drawControl(QStyle::CE_ItemViewItem, &background, painter, widget);
    const AudioFileItemPtr file = fileAt_(index.row());
    if (!file)
        return;
    const Parts parts = partsOf(option.rect);
    const bool selected = option.state & QStyle::State_Selected;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    if (drag_ && drag_->dragging && drag_->index == index) {
        QColor accent = option.palette.color(QPalette::Highlight);
        accent.setAlphaF(0.15f);
        QPainterPath plate;
        plate.addRoundedRect(QRectF(parts.value), 4, 4);
        painter->fillPath(plate, accent);
    }
    painter->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    painter->setPen(option.palette.color(selected ? QPalette::HighlightedText : QPalette::Text));
    painter->drawText(parts.value.adjusted(4, 2, -4, -2), Qt::AlignRight | Qt::AlignVCenter,
                      QString::asprintf("%+.1f", file->correctionDB()));
    for (const auto& [rect, arrow] :
         {std::pair{parts.up, QStyle::PE_IndicatorArrowUp}, std::pair{parts.down, QStyle::PE_IndicatorArrowDown}}) {
        QStyleOption arrowOption;
        arrowOption.initFrom(widget);
        arrowOption.rect = rect.adjusted(3, 2, -3, -1);
        arrowOption.palette = option.palette;
        if (selected)
            arrowOption.palette.setColor(QPalette::ButtonText, option.palette.color(QPalette::HighlightedText));
        widget->style()->drawPrimitive(arrow, &arrowOption, painter, widget);
    }
    QFont caption = option.font;
    caption.setPixelSize(10);
    painter->setFont(caption);
    painter->setPen(selected ? option.palette.color(QPalette::HighlightedText)
                             : PaintKit::readableOn(option.palette.color(QPalette::PlaceholderText),
                                                    {option.palette.color(QPalette::Base),
                                                     option.palette.color(QPalette::AlternateBase)}));
    painter->drawText(parts.unit, Qt::AlignLeft | Qt::AlignVCenter, QStringLiteral("dB"));
    painter->restore();
}

bool CorrectionDelegate::helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                                   const QModelIndex& index) {
    if (partsOf(option.rect).value.contains(event->pos())) {
        QToolTip::showText(event->globalPos(), QStringLiteral("Drag up/down to adjust"), view);
        return true;
    }
    return QStyledItemDelegate::helpEvent(event, view, option, index);
}

// Every change, even to the same value, makes the correction manual.
void CorrectionDelegate::store(const QModelIndex& index, double value) {
    const AudioFileItemPtr file = fileAt_(index.row());
    if (!file)
        return;
    file->setCorrectionDB(value);
    file->setIsManualOverride(true);
    viewport_->update(view_->visualRect(index));
    if (onChanged_)
        onChanged_();
}

void CorrectionDelegate::stepOnce() {
    const AudioFileItemPtr file = stepping_.isValid() ? fileAt_(stepping_.row()) : nullptr;
    if (!file) {
        repeat_.stop();
        return;
    }
    store(stepping_, std::clamp(file->correctionDB() + stepBy_, minimumDB, maximumDB));
}

// A press on a correction cell is the cell's alone: it steps or starts a drag.
bool CorrectionDelegate::press(const QPoint& pos) {
    const QModelIndex index = view_->indexAt(pos);
    const AudioFileItemPtr file = index.isValid() && index.column() == column_ ? fileAt_(index.row()) : nullptr;
    if (!file)
        return false;
    const Parts parts = partsOf(view_->visualRect(index));
    if (parts.up.contains(pos) || parts.down.contains(pos)) {
        stepping_ = index;
        stepBy_ = parts.up.contains(pos) ? stepDB : -stepDB;
        stepOnce();
        repeat_.start(repeatDelayMs);
    } else if (parts.value.contains(pos)) {
        drag_ = Drag{index, static_cast<double>(pos.y()), file->correctionDB(), false};
    }
    return true;
}

bool CorrectionDelegate::eventFilter(QObject* watched, QEvent* event) {
    // Compared by address only: while the view is destroyed its viewport
    // still sends events, and the view must not be asked for anything.
    if (watched != viewport_)
        return false;
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick: {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        return mouse->button() == Qt::LeftButton && press(mouse->position().toPoint());
    }
    case QEvent::MouseMove: {
        const QPoint pos = static_cast<QMouseEvent*>(event)->position().toPoint();
        if (!drag_) {
            const QModelIndex index = view_->indexAt(pos);
            const bool overValue =
                index.isValid() && index.column() == column_ && partsOf(view_->visualRect(index)).value.contains(pos);
            if (overValue)
                viewport_->setCursor(Qt::SizeVerCursor);
            else
                viewport_->unsetCursor();
            return false;
        }
        const double dy = pos.y() - drag_->pressY;
        if (!drag_->dragging && std::abs(dy) < dragThreshold)
            return true;
        drag_->dragging = true;
        if (drag_->index.isValid())
            store(drag_->index, afterDrag(drag_->start, dy));
        return true;
    }
    case QEvent::MouseButtonRelease:
        repeat_.stop();
        stepping_ = QPersistentModelIndex();
        if (drag_) {
            const QPersistentModelIndex index = drag_->index;
            drag_.reset();
            viewport_->update(view_->visualRect(index));
            return true;
        }
        return false;
    default: return false;
    }
}
