#include "ui/WaveformPainter.h"

#include "ui/PaintKit.h"

#include "editing/SegmentEditModel.h"
#include "editing/SegmentGainEvaluation.h"
#include "ui/TimeText.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <cmath>
#include <limits>

namespace WaveformPainter {

namespace {

using namespace PaintKit;

bool editsApply(const SegmentEditSnapshot* edits) { return edits && SegmentEditModel::hasEdits(*edits); }

// One run per plot column from the lowest to the highest sample of its
// buckets, scaled by the segment gains in edit mode.
void addEnvelope(SpanLayer& layer, const AnalysisResult& data, const SegmentEditSnapshot* edits,
                 const PlotGeometry& g) {
    const WaveformEnvelope& env = data.envelope;
    const int64_t buckets =
        std::min<int64_t>(env.bucketCount, static_cast<int64_t>(std::min(env.minValues.size(), env.maxValues.size())));
    const auto columns = static_cast<int64_t>(g.plotW());
    if (buckets <= 0 || columns <= 0)
        return;
    // Buckets per column; below one (a very short file) a bucket spans
    // several columns, so the envelope still reaches the end of the plot.
    const double step = static_cast<double>(buckets) / static_cast<double>(columns);
    std::vector<double> offsets;
    if (editsApply(edits)) {
        std::vector<double> times(static_cast<size_t>(columns));
        for (int64_t c = 0; c < columns; ++c)
            times[static_cast<size_t>(c)] = data.duration * static_cast<double>(c) / static_cast<double>(columns);
        offsets = SegmentGainEvaluation::gainOffsetsAtTimes(*edits, times);
    }
    // One run per column never overlaps another: the colour's opacity can go
    // into the pixels, and the layer is laid over the picture as it is.
    ColumnSpans& spans = layer.add(envelopeColor, envelopeColor.alphaF());
    for (int64_t c = 0;; ++c) {
        const auto first = static_cast<int64_t>(step * static_cast<double>(c));
        if (first >= buckets || c >= columns)
            break;
        const int64_t last =
            std::max(first + 1, std::min(static_cast<int64_t>(step * static_cast<double>(c + 1)), buckets));
        float lo = env.minValues[static_cast<size_t>(first)], hi = env.maxValues[static_cast<size_t>(first)];
        for (int64_t b = first + 1; b < last; ++b) {
            lo = std::min(lo, env.minValues[static_cast<size_t>(b)]);
            hi = std::max(hi, env.maxValues[static_cast<size_t>(b)]);
        }
        double low = lo, high = hi;
        if (!offsets.empty()) {
            const double gain = std::pow(10.0, offsets[static_cast<size_t>(c)] / 20.0);
            low *= gain;
            high *= gain;
        }
        // A one-point stroke centred on x = marginLeft + c + 0.5, at least
        // half a point tall; a segment gain that lifts it past full scale
        // stops at the plot's edge.
        const double x = g.marginLeft + static_cast<double>(c);
        const double y1 = std::clamp(g.yOfSample(high), g.yTop(), g.yBot() - 0.5);
        const double y2 = std::clamp(g.yOfSample(low), g.yTop(), g.yBot());
        spans.add(x, x + 1, y1, std::max(y2, y1 + 0.5));
    }
}

void paintCurve(QPainter& painter, const AnalysisResult& data, const PlotGeometry& g) {
    const double softBelow = data.loudest20sLUFS - 12.0;
    const WholeFileCurve curve = wholeFileCurve(data);
    std::vector<CurvePoint> points(curve.times.size());
    for (size_t i = 0; i < points.size(); ++i)
        points[i] = {QPointF(g.xOfTime(curve.times[i], data.duration), g.yOfLUFS(curve.lufs[i])),
                     curve.lufs[i] < softBelow};
    strokeSplitCurve(painter, points, curveColor, softCurveColor, 2.0);
}

} // namespace

WholeFileCurve wholeFileCurve(const AnalysisResult& data) {
    const std::vector<double>& times = data.times;
    WholeFileCurve curve;
    if (data.loudnessCurve.size() != times.size())
        return curve;
    if (times.size() < 2) {
        // A file no longer than the curve's window is one stretch: its loudness, level from end to end.
        if (data.duration > 0 && !data.isSilent())
            curve = {{0.0, data.duration},
                     std::vector<double>(2, times.empty() ? data.loudest20sLUFS : data.loudnessCurve.front())};
        return curve;
    }
    curve.times.reserve(times.size() + 2);
    curve.lufs.reserve(times.size() + 2);
    if (times.front() > 0) {
        curve.times.push_back(0.0);
        curve.lufs.push_back(data.loudnessCurve.front());
    }
    curve.times.insert(curve.times.end(), times.begin(), times.end());
    curve.lufs.insert(curve.lufs.end(), data.loudnessCurve.begin(), data.loudnessCurve.end());
    if (times.back() < data.duration) {
        curve.times.push_back(data.duration);
        curve.lufs.push_back(data.loudnessCurve.back());
    }
    return curve;
}

std::vector<int> timeTicks(double duration) {
    std::vector<int> ticks;
    const int step = std::max(static_cast<int>(duration / 10.0), 1);
    for (int t = 0; t <= static_cast<int>(duration); t += step)
        ticks.push_back(t);
    return ticks;
}

void paintStaticLayer(QPainter& painter, const AnalysisResult& data, const SegmentEditSnapshot* edits,
                      const PlotGeometry& g) {
    paintBackdrop(painter, data, edits, g);
    paintForeground(painter, data, edits, g);
}

void paintBackdrop(QPainter& painter, const AnalysisResult& data, const SegmentEditSnapshot* edits,
                   const PlotGeometry& g) {
    if (!g.isDrawable())
        return;
    const double duration = data.duration;
    const double xs = g.xOfTime(data.windowStart, duration), xe = g.xOfTime(data.windowEnd, duration);

    // 1. The loudest window, 2. the soft passages: tinted, between dashed
    // edges; 3. the envelope. All in one layer: Qt splits every tall fill
    // among threads, which costs more than these few pixels.
    SpanLayer layer(QRectF(g.marginLeft, g.yTop(), g.plotW(), g.plotH()), painter.device()->devicePixelRatioF());
    const auto tinted = [&](double a, double b, const QColor& fill, const QColor& edge) {
        layer.addBand({a, b, g.yTop(), g.yBot(), fill});
        layer.addBand({a - 0.5, a + 0.5, g.yTop(), g.yBot(), edge, 4, 4});
        layer.addBand({b - 0.5, b + 0.5, g.yTop(), g.yBot(), edge, 4, 4});
    };
    tinted(xs, xe, withAlpha(Qt::yellow, 0.08), withAlpha(Qt::yellow, 0.4));
    const QColor orange(255, 165, 0);
    for (const TimeRange& range : data.softPassageRanges())
        tinted(g.xOfTime(range.start, duration), g.xOfTime(range.end, duration), withAlpha(orange, 0.04),
               withAlpha(orange, 0.2));
    addEnvelope(layer, data, edits, g);
    layer.draw(painter);
}

void paintForeground(QPainter& painter, const AnalysisResult& data, const SegmentEditSnapshot* edits,
                     const PlotGeometry& g) {
    if (!g.isDrawable())
        return;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    const double duration = data.duration;
    const double xs = g.xOfTime(data.windowStart, duration), xe = g.xOfTime(data.windowEnd, duration);

    // 4. The loudest window's loudness.
    painter.setFont(monospaced(g.titleSize));
    painter.setPen(Qt::yellow);
    drawCentred(painter, QString::asprintf("Loudest 20s: %.1f LUFS", data.loudest20sLUFS),
                QPointF((xs + xe) / 2, g.yTop() + g.titleSize));

    // 5. The loudness curve, soft parts in their own colour.
    paintCurve(painter, data, g);

    // 6. Separators, in edit mode.
    if (edits) {
        std::vector<VerticalBand> lines;
        for (const Separator& s : edits->separators) {
            const double x = g.xOfTime(s.timeSeconds, duration);
            lines.push_back({x - 0.75, x + 0.75, g.yTop(), g.yBot(), withAlpha(Qt::cyan, 0.7), 6, 4});
        }
        drawVerticalBands(painter, lines);
    }

    // 7. LUFS labels.
    painter.setFont(monospaced(g.labelSize));
    painter.setPen(Qt::gray);
    const QFontMetricsF small(painter.font());
    for (int v = -60; v <= 0; v += 10) {
        const QString text = QString::number(v);
        const double y = g.yOfLUFS(v);
        painter.drawText(
            QPointF(g.marginLeft / 2 - small.horizontalAdvance(text), y + (small.ascent() - small.descent()) / 2),
            text);
    }

    // 8. Centre line, 9. plot frame.
    painter.setPen(pen(withAlpha(Qt::gray, 0.3), 1.0));
    painter.drawLine(QPointF(g.marginLeft, g.midY()), QPointF(g.width - g.marginRight, g.midY()));
    painter.setPen(pen(withAlpha(Qt::gray, 0.2), 1.0));
    painter.drawRect(QRectF(g.marginLeft, g.yTop(), g.plotW(), g.plotH()));

    // 10. Time axis.
    for (int t : timeTicks(duration)) {
        const double x = g.xOfTime(t, duration);
        painter.setPen(pen(Qt::gray, 1.0));
        painter.drawLine(QPointF(x, g.yBot()), QPointF(x, g.yBot() + g.labelSize * 0.6));
        // Centred under its tick, but never past the widget's edges.
        const QString label = TimeText::axisLabel(t);
        const double half = painter.fontMetrics().horizontalAdvance(label) / 2.0 + 1;
        drawCentred(painter, label, QPointF(std::clamp(x, half, g.width - half), g.yBot() + g.labelSize * 1.75));
    }
    painter.restore();
}

void paintPlayhead(QPainter& painter, double playheadTime, double duration, const PlotGeometry& g) {
    if (playheadTime < 0 || duration <= 0 || !g.isDrawable())
        return;
    const double x = g.marginLeft + playheadTime / duration * g.plotW();
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(pen(playheadColor, 2.0));
    painter.drawLine(QPointF(x, g.yTop()), QPointF(x, g.yBot()));
    QPainterPath triangle;
    triangle.moveTo(x - 5, g.yTop());
    triangle.lineTo(x + 5, g.yTop());
    triangle.lineTo(x, g.yTop() + 8);
    triangle.closeSubpath();
    painter.fillPath(triangle, playheadColor);
    painter.restore();
}

namespace {

// The curve point nearest to `t` (the first on ties) and its loudness, with
// the segment offset there in edit mode.
std::optional<std::pair<double, double>> readOut(const AnalysisResult& data, double hoverX,
                                                 const SegmentEditSnapshot* edits, const PlotGeometry& g) {
    if (hoverX < g.marginLeft || hoverX > g.width - g.marginRight || data.times.empty() || data.duration <= 0 ||
        data.loudnessCurve.size() != data.times.size())
        return std::nullopt;
    const double t = g.timeAtX(hoverX, data.duration);
    size_t nearest = 0;
    for (size_t i = 1; i < data.times.size(); ++i) {
        if (std::abs(data.times[i] - t) < std::abs(data.times[nearest] - t))
            nearest = i;
    }
    double lufs = data.loudnessCurve[nearest];
    if (editsApply(edits))
        lufs += SegmentGainEvaluation::gainOffsetAtTime(*edits, data.times[nearest]);
    return std::pair{t, lufs};
}

} // namespace

QString hoverText(const AnalysisResult& data, double hoverX, const SegmentEditSnapshot* edits, const PlotGeometry& g) {
    const auto value = readOut(data, hoverX, edits, g);
    if (!value)
        return QString();
    const auto [t, lufs] = *value;
    return TimeText::playhead(t) + QString::asprintf("  %.1f LUFS", lufs);
}

void paintHover(QPainter& painter, const AnalysisResult& data, QPointF hover, const SegmentEditSnapshot* edits,
                const PlotGeometry& g) {
    const auto value = readOut(data, hover.x(), edits, g);
    if (!value)
        return;
    const double hx = hover.x();
    const QString text = hoverText(data, hx, edits, g);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(pen(withAlpha(Qt::white, 0.3), 1.0, true));
    painter.drawLine(QPointF(hx, g.yTop()), QPointF(hx, g.yBot()));

    const double y = g.yOfLUFS(value->second);
    painter.setFont(monospaced(10, true));
    const QFontMetricsF metrics(painter.font());
    const double boxWidth = metrics.horizontalAdvance(text) + 8, boxHeight = 20;
    // In the last tenth of the plot the read-out goes left of the pointer,
    // so that it never runs off the edge. It sits over the curve's dot, or
    // under it near the top, always inside the plot and below the title's
    // row, clear of the axes' labels.
    const double boxLeft = hx > g.marginLeft + 0.9 * g.plotW() ? hx - 8 - boxWidth : hx + 8;
    const double highest = g.yTop() + 2.2 * g.titleSize, lowest = g.yBot() - boxHeight - 2;
    const double above = y - 12 - boxHeight;
    const double boxTop = std::clamp(above >= highest ? above : y + 12, highest, std::max(highest, lowest));
    painter.fillRect(QRectF(boxLeft, boxTop, boxWidth, boxHeight), withAlpha(Qt::black, 0.8));
    painter.setPen(Qt::yellow);
    painter.drawText(QPointF(boxLeft + 4, boxTop + boxHeight / 2 + (metrics.ascent() - metrics.descent()) / 2), text);

    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::yellow);
    painter.drawEllipse(QRectF(hx - 4, y - 4, 8, 8));
    if (edits) {
        QPainterPath arrows;
        arrows.moveTo(hx, y - 9);
        arrows.lineTo(hx - 5, y - 4);
        arrows.lineTo(hx + 5, y - 4);
        arrows.closeSubpath();
        arrows.moveTo(hx, y + 9);
        arrows.lineTo(hx - 5, y + 4);
        arrows.lineTo(hx + 5, y + 4);
        arrows.closeSubpath();
        painter.fillPath(arrows, withAlpha(Qt::yellow, 0.7));
    }
    painter.restore();
}

} // namespace WaveformPainter
