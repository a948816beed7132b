#pragma once

// A file's correction in the table, painted into its cell: the value with
// its sign, dragged up or down (10 points per dB, in 0.1 dB steps), two
// stepper arrows of 0.5 dB that repeat while held, and "dB". Every change
// makes the correction manual and is reported. One delegate serves every
// row; it reads the pointer on the view's viewport, so a drag goes on when
// the pointer leaves the cell.

#include "session/AudioFileItem.h"

#include <QPersistentModelIndex>
#include <QStyledItemDelegate>
#include <QTimer>
#include <functional>
#include <optional>

class QAbstractItemView;

class CorrectionDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    static constexpr double minimumDB = AudioFileItem::minimumManualCorrectionDB;
    static constexpr double maximumDB = AudioFileItem::maximumManualCorrectionDB;
    static constexpr double stepDB = 0.5;
    static constexpr double pointsPerDB = 10.0;
    static constexpr int dragThreshold = 2;

    // `column` is the correction's; `fileAt` gives a row's file, and
    // `onChanged` is called after every change made here.
    CorrectionDelegate(QAbstractItemView* view, int column, std::function<AudioFileItemPtr(int row)> fileAt,
                       std::function<void()> onChanged);

    // The value after dragging `dy` points (down is positive) from `start`:
    // tenths of a dB, halves rounded away from zero, within the limits.
    static double afterDrag(double start, double dy);

    // Where a cell's parts lie.
    struct Parts {
        QRect value, up, down, unit;
    };
    static Parts partsOf(const QRect& cell);

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                   const QModelIndex& index) override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool press(const QPoint& pos);
    void store(const QModelIndex& index, double value);
    void stepOnce();

    QAbstractItemView* view_;
    QWidget* viewport_;
    int column_;
    std::function<AudioFileItemPtr(int)> fileAt_;
    std::function<void()> onChanged_;
    struct Drag {
        QPersistentModelIndex index;
        double pressY = 0.0;
        double start = 0.0;
        bool dragging = false;
    };
    std::optional<Drag> drag_;
    QPersistentModelIndex stepping_;
    double stepBy_ = 0.0;
    QTimer repeat_;
};
