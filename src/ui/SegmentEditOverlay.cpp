#include "ui/SegmentEditOverlay.h"

#include "editing/SegmentEditModel.h"
#include "ui/SegmentEditPainter.h"

#include <algorithm>
#include <cmath>

namespace A = SegmentEditActions;

namespace {

double timeAt(const SegmentEditOverlay::Context& c, double x) {
    const double plotW = c.geometry.plotW();
    return plotW > 0 ? (x - c.geometry.marginLeft) / plotW * c.data.duration : 0.0;
}

bool insidePlot(const SegmentEditOverlay::Context& c, double x) {
    return x >= c.geometry.marginLeft && x <= c.geometry.marginLeft + c.geometry.plotW();
}

void emitAction(const SegmentEditOverlay::Context& c, const SegmentEditAction& action) {
    if (c.onAction)
        c.onAction(action);
}

// The separator's fade handle: the right end of its fade zone, at the plot's foot.
QPointF fadeHandle(const Separator& s, double duration, const PlotGeometry& g) {
    return {g.xOfTime(s.timeSeconds + s.fadeDurationMs / 2000.0, duration), g.yBot() - 2};
}

} // namespace

std::optional<QUuid> SegmentEditOverlay::hitTestSeparator(const Context& c, double x) {
    for (const Separator& s : c.edits.separators())
        if (std::abs(x - c.geometry.xOfTime(s.timeSeconds, c.data.duration)) < separatorHitWidth / 2)
            return s.id;
    return std::nullopt;
}

std::optional<QUuid> SegmentEditOverlay::hitTestFadeTriangle(const Context& c, QPointF p) {
    const double reach = SegmentEditPainter::fadeTriangleSize + 4;
    for (const Separator& s : c.edits.separators()) {
        const QPointF handle = fadeHandle(s, c.data.duration, c.geometry);
        if (std::abs(p.x() - handle.x()) < reach && std::abs(p.y() - handle.y()) < reach)
            return s.id;
    }
    return std::nullopt;
}

void SegmentEditOverlay::startPress(const Context& c, QPointF s, Qt::KeyboardModifiers modifiers) {
    if (modifiers & Qt::ControlModifier && insidePlot(c, s.x())) {
        pressConsumed_ = true;
        emitAction(c, A::AddSeparator{timeAt(c, s.x())});
        return;
    }
    if (modifiers & Qt::AltModifier) {
        if (const auto id = hitTestSeparator(c, s.x())) {
            pressConsumed_ = true;
            emitAction(c, A::RemoveSeparator{*id});
            return;
        }
    }
    if (modifiers & Qt::ShiftModifier && insidePlot(c, s.x())) {
        pressConsumed_ = true;
        emitAction(c, A::ResetSegmentGain{c.edits.segmentIndex(timeAt(c, s.x()))});
        return;
    }
    if (const auto id = hitTestFadeTriangle(c, s)) {
        dragType_ = DragType::fadeDuration;
        dragSeparatorID_ = *id;
        emitAction(c, A::DragBegan{});
    } else if (const auto sep = hitTestSeparator(c, s.x())) {
        dragType_ = DragType::separator;
        dragSeparatorID_ = *sep;
        emitAction(c, A::DragBegan{});
    } else if (insidePlot(c, s.x())) {
        dragType_ = DragType::gain;
        dragSegmentIndex_ = c.edits.segmentIndex(timeAt(c, s.x()));
        const auto& gains = c.edits.segmentGains();
        dragStartGain_ = dragSegmentIndex_ < static_cast<int64_t>(gains.size())
                             ? gains[static_cast<size_t>(dragSegmentIndex_)].gainOffsetDB
                             : 0.0;
        dragStartY_ = s.y();
    }
}

void SegmentEditOverlay::change(const Context& c, QPointF p, QPointF start, Qt::KeyboardModifiers modifiers) {
    if (pressConsumed_)
        return;
    if (dragType_ == DragType::none) {
        startPress(c, start, modifiers);
        if (pressConsumed_)
            return;
    }
    magnifierPosition_ = p;
    switch (dragType_) {
    case DragType::separator: emitAction(c, A::MoveSeparator{dragSeparatorID_, timeAt(c, p.x())}); break;
    case DragType::gain: {
        if (std::abs(p.y() - dragStartY_) < gainDragThreshold && !dragBeganFired_)
            break;
        if (!dragBeganFired_) {
            emitAction(c, A::DragBegan{});
            dragBeganFired_ = true;
            dragStartY_ = p.y(); // no jump by the threshold
        }
        const double perPoint = -gainDragRangeDB / (3 * c.geometry.plotH());
        const double gain = std::clamp(dragStartGain_ + (p.y() - dragStartY_) * perPoint,
                                       -SegmentEditModel::maximumGainOffsetDB, SegmentEditModel::maximumGainOffsetDB);
        emitAction(c, A::SetSegmentGain{dragSegmentIndex_, gain});
        break;
    }
    case DragType::fadeDuration: {
        const auto& seps = c.edits.separators();
        const auto s =
            std::find_if(seps.begin(), seps.end(), [&](const Separator& x) { return x.id == dragSeparatorID_; });
        if (s == seps.end() || c.geometry.plotW() <= 0)
            break;
        const double dx = std::max(p.x() - c.geometry.xOfTime(s->timeSeconds, c.data.duration), 0.0);
        emitAction(c, A::SetFadeDuration{s->id, c.data.duration * dx / c.geometry.plotW() * 2000.0});
        break;
    }
    case DragType::none: break;
    }
}

void SegmentEditOverlay::end(const Context& c, QPointF p) {
    if (dragType_ == DragType::gain && !dragBeganFired_ && c.onSeek)
        c.onSeek(std::clamp(timeAt(c, p.x()), 0.0, std::max(c.data.duration, 0.0)));
    finish(c);
}

void SegmentEditOverlay::cancel(const Context& c) { finish(c); }

void SegmentEditOverlay::finish(const Context& c) {
    if (dragType_ == DragType::separator || dragType_ == DragType::fadeDuration ||
        (dragType_ == DragType::gain && dragBeganFired_))
        emitAction(c, A::DragEnded{});
    dragType_ = DragType::none;
    dragSeparatorID_ = QUuid();
    dragBeganFired_ = false;
    pressConsumed_ = false;
}

void SegmentEditOverlay::hover(QPointF p, Qt::KeyboardModifiers modifiers) {
    magnifierPosition_ = p;
    cmdHeld_ = modifiers & Qt::ControlModifier;
}

void SegmentEditOverlay::leave() {
    magnifierPosition_.reset();
    cmdHeld_ = false;
}

bool SegmentEditOverlay::showMagnifier() const {
    return magnifierPosition_ && (cmdHeld_ || dragType_ == DragType::separator || dragType_ == DragType::fadeDuration);
}

std::vector<SegmentEditOverlay::MenuItem> SegmentEditOverlay::contextMenu(const Context& c) const {
    std::vector<MenuItem> items;
    if (!magnifierPosition_)
        return items;
    const double x = magnifierPosition_->x();
    if (const auto id = hitTestSeparator(c, x))
        items.push_back({QStringLiteral("Remove Separator"), A::RemoveSeparator{*id}});
    else if (insidePlot(c, x))
        items.push_back({QStringLiteral("Add Separator"), A::AddSeparator{timeAt(c, x)}});
    else
        return items;
    const int64_t index = c.edits.segmentIndex(timeAt(c, x));
    const auto& gains = c.edits.segmentGains();
    if (index >= 0 && index < static_cast<int64_t>(gains.size()) && gains[static_cast<size_t>(index)].gainOffsetDB != 0)
        items.push_back({QStringLiteral("Reset Segment Gain"), A::ResetSegmentGain{index}});
    return items;
}

std::optional<Qt::CursorShape> editModeCursor(QPointF hover, const std::vector<Separator>& separators, double duration,
                                              const PlotGeometry& g) {
    if (hover.x() < g.marginLeft || hover.x() > g.marginLeft + g.plotW())
        return std::nullopt;
    if (duration > 0) {
        for (const Separator& s : separators) {
            const QPointF handle = fadeHandle(s, duration, g);
            if (std::abs(hover.x() - g.xOfTime(s.timeSeconds, duration)) < 7 ||
                (std::abs(hover.x() - handle.x()) < 10 && std::abs(hover.y() - handle.y()) < 10))
                return Qt::SizeHorCursor;
        }
    }
    return Qt::SizeVerCursor;
}
