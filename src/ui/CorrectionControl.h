#pragma once

// A file's correction in the table: the value with its sign, dragged up or
// down (10 points per dB, in 0.1 dB steps), a stepper of 0.5 dB, and "dB".
// Every change makes the correction manual and is reported.

#include "list/AudioFileItem.h"

#include <QWidget>
#include <functional>
#include <memory>

class QLabel;
class QToolButton;

class CorrectionControl : public QWidget {
    Q_OBJECT

public:
    static constexpr double minimumDB = -30.0;
    static constexpr double maximumDB = 30.0;
    static constexpr double stepDB = 0.5;
    static constexpr double pointsPerDB = 10.0;
    static constexpr int dragThreshold = 2;

    CorrectionControl(std::shared_ptr<AudioFileItem> file, std::function<void()> onChanged, QWidget* parent = nullptr);

    // The value after dragging `dy` points (down is positive) from `start`:
    // tenths of a dB, halves rounded away from zero, within the limits.
    static double afterDrag(double start, double dy);

    bool isDragging() const;

private:
    void store(double value);
    void refresh();

    std::shared_ptr<AudioFileItem> file_;
    std::function<void()> onChanged_;
    class DragValue* value_;
    QToolButton* up_;
    QToolButton* down_;
};
