#pragma once

// The hands on a file's segment edits in edit mode. A press is read once, at
// its start: Ctrl adds a separator, Alt on a separator removes it, Shift
// resets the segment's gain; otherwise it drags a fade handle, a separator
// or (past a 4-point threshold) the segment's gain, and a press that never
// drags seeks. Every edit leaves as a SegmentEditAction; the overlay never
// changes the model itself, and each drag is bracketed by DragBegan and
// DragEnded so that it becomes one undo step. Also decides the context menu,
// when the magnifier shows, and the pointer shape. Main thread only.

#include "analysis/AnalysisResult.h"
#include "editing/SegmentEditAction.h"
#include "editing/SegmentEditState.h"
#include "ui/PlotGeometry.h"

#include <QPointF>
#include <QString>
#include <functional>
#include <optional>
#include <vector>

class SegmentEditOverlay {
public:
    enum class DragType { none, separator, gain, fadeDuration };

    static constexpr double separatorHitWidth = 12.0;
    static constexpr double gainDragThreshold = 4.0;
    // Three plot heights of travel cover this many dB.
    static constexpr double gainDragRangeDB = 40.0;

    // What the overlay reads and where its results go, at each event.
    struct Context {
        const AnalysisResult& data;
        const SegmentEditState& edits;
        PlotGeometry geometry;
        const std::function<void(const SegmentEditAction&)>& onAction;
        const std::function<void(double)>& onSeek;
    };

    // The press that began at `start` is now at `p`; the first change comes
    // with the press itself.
    void change(const Context& context, QPointF p, QPointF start, Qt::KeyboardModifiers modifiers);
    // The press ends at `p`.
    void end(const Context& context, QPointF p);
    // Ends a drag in progress without seeking, when the file or the mode
    // changes under it; the drag still becomes its undo step.
    void cancel(const Context& context);
    void hover(QPointF p, Qt::KeyboardModifiers modifiers);
    void leave();

    struct MenuItem {
        QString text;
        SegmentEditAction action;
    };
    // The context menu at the last hover position; empty without one.
    std::vector<MenuItem> contextMenu(const Context& context) const;

    // The first separator closer than half the hit width to x.
    static std::optional<QUuid> hitTestSeparator(const Context& context, double x);
    // The first separator whose fade handle lies within 12 points of p on both axes.
    static std::optional<QUuid> hitTestFadeTriangle(const Context& context, QPointF p);

    bool isPressed() const { return dragType_ != DragType::none || pressConsumed_; }
    bool showMagnifier() const;
    std::optional<QPointF> magnifierPosition() const { return magnifierPosition_; }

private:
    void startPress(const Context& context, QPointF start, Qt::KeyboardModifiers modifiers);
    void finish(const Context& context);

    DragType dragType_ = DragType::none;
    QUuid dragSeparatorID_;
    int64_t dragSegmentIndex_ = 0;
    double dragStartGain_ = 0.0;
    double dragStartY_ = 0.0;
    bool dragBeganFired_ = false;
    // A modifier action took this press; it does nothing more until released.
    bool pressConsumed_ = false;
    std::optional<QPointF> magnifierPosition_;
    bool cmdHeld_ = false;
};

// The pointer shape in edit mode with the pointer at `hover`: left-right
// arrows within 7 points of a separator or 10 of its fade handle, up-down
// arrows elsewhere over the plot's width, none (the normal pointer) outside it.
std::optional<Qt::CursorShape> editModeCursor(QPointF hover, const std::vector<Separator>& separators, double duration,
                                              const PlotGeometry& geometry);
