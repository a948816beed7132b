#include "ui/WaveformPainter.h"

#include "editing/SegmentEditModel.h"
#include "editing/SegmentGainEvaluation.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <cmath>
#include <limits>

namespace WaveformPainter {

namespace {

QColor withAlpha(QColor color, double alpha) {
    color.setAlphaF(static_cast<float>(alpha));
    return color;
}

QPen pen(const QColor& color, double width, bool dashed = false, double on = 4, double off = 4) {
    QPen p(color, width);
    p.setCapStyle(Qt::FlatCap);
    if (dashed)
        p.setDashPattern({on / width, off / width});
    return p;
}

QFont monospaced(double pixelSize, bool bold = false) {
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPixelSize(static_cast<int>(std::lround(pixelSize)));
    font.setBold(bold);
    return font;
}

// Draws `text` with its centre at `centre`.
void drawCentred(QPainter& painter, const QString& text, QPointF centre) {
    const QFontMetricsF metrics(painter.font());
    const double w = metrics.horizontalAdvance(text);
    painter.drawText(QPointF(centre.x() - w / 2, centre.y() + (metrics.ascent() - metrics.descent()) / 2), text);
}

void verticalLine(QPainter& painter, double x, const PlotGeometry& g) {
    painter.drawLine(QPointF(x, g.yTop()), QPointF(x, g.yBot()));
}

bool editsApply(const SegmentEditSnapshot* edits) {
    return edits && SegmentEditModel::hasEdits(*edits);
}

// Vertical runs per device pixel column, painted with anti-aliased ends into
// a layer that is then laid over the picture in one go. Long files put a
// stroke in every column; drawing those as separate strokes costs many
// frames, writing the pixels costs well under one.
class ColumnSpans {
public:
    ColumnSpans(int columns, double pixelRatio)
        : ratio_(pixelRatio), top_(static_cast<size_t>(std::max(columns, 0)), std::numeric_limits<double>::infinity()),
          bottom_(top_.size(), -std::numeric_limits<double>::infinity()) {}

    // A run from `top` to `bottom` (points) over the points from x0 to x1.
    void add(double x0, double x1, double top, double bottom) {
        const int first = std::max(0, static_cast<int>(std::floor(x0 * ratio_)));
        const int last = std::min(static_cast<int>(top_.size()) - 1, static_cast<int>(std::ceil(x1 * ratio_)) - 1);
        for (int c = first; c <= last; ++c) {
            top_[static_cast<size_t>(c)] = std::min(top_[static_cast<size_t>(c)], top * ratio_);
            bottom_[static_cast<size_t>(c)] = std::max(bottom_[static_cast<size_t>(c)], bottom * ratio_);
        }
    }

    // A line of `width` points from a to b: in every column it crosses, the
    // run of its y values there, widened by half the width on each side.
    void addLine(QPointF a, QPointF b, double width) {
        const double half = width / 2;
        if (a.x() > b.x())
            std::swap(a, b);
        const double dx = b.x() - a.x();
        const auto yAt = [&](double x) {
            return dx <= 1e-12 ? a.y() : a.y() + (std::clamp(x, a.x(), b.x()) - a.x()) / dx * (b.y() - a.y());
        };
        const double step = 1.0 / ratio_;
        for (double x = std::floor((a.x() - half) * ratio_) / ratio_; x < b.x() + half; x += step) {
            const double y0 = yAt(x - half), y1 = yAt(x + step + half);
            add(x, x + step, std::min(y0, y1) - half, std::max(y0, y1) + half);
        }
    }

    void paint(QImage& layer, const QColor& color) const {
        const int height = layer.height();
        const QRgb rgb = color.rgb();
        const QRgb full = qPremultiply(qRgba(qRed(rgb), qGreen(rgb), qBlue(rgb), 255));
        for (size_t c = 0; c < top_.size() && static_cast<int>(c) < layer.width(); ++c) {
            const double top = std::max(0.0, top_[c]), bottom = std::min(static_cast<double>(height), bottom_[c]);
            if (!(top < bottom))
                continue;
            for (int y = static_cast<int>(std::floor(top)); y < static_cast<int>(std::ceil(bottom)); ++y) {
                const double coverage = std::min(bottom, y + 1.0) - std::max(top, static_cast<double>(y));
                auto* pixel = reinterpret_cast<QRgb*>(layer.scanLine(y)) + c;
                if (coverage >= 1.0) {
                    *pixel = full; // opaque: covers whatever was there
                    continue;
                }
                const QRgb src = qPremultiply(qRgba(qRed(rgb), qGreen(rgb), qBlue(rgb), static_cast<int>(std::lround(255 * coverage))));
                const int inverse = 255 - qAlpha(src);
                *pixel = qRgba(qRed(src) + qRed(*pixel) * inverse / 255, qGreen(src) + qGreen(*pixel) * inverse / 255,
                               qBlue(src) + qBlue(*pixel) * inverse / 255, qAlpha(src) + qAlpha(*pixel) * inverse / 255);
            }
        }
    }

private:
    double ratio_;
    std::vector<double> top_;
    std::vector<double> bottom_;
};

// A transparent layer the size of the painter's device.
QImage layerFor(const QPainter& painter, const PlotGeometry& g) {
    const qreal ratio = painter.device()->devicePixelRatioF();
    QImage layer(static_cast<int>(std::ceil(g.width * ratio)), static_cast<int>(std::ceil(g.height * ratio)),
                 QImage::Format_ARGB32_Premultiplied);
    layer.fill(Qt::transparent);
    layer.setDevicePixelRatio(ratio);
    return layer;
}

void paintEnvelope(QPainter& painter, const AnalysisResult& data, const SegmentEditSnapshot* edits,
                   const PlotGeometry& g) {
    const WaveformEnvelope& env = data.envelope;
    const int64_t buckets = std::min<int64_t>(env.bucketCount, static_cast<int64_t>(std::min(env.minValues.size(), env.maxValues.size())));
    const auto columns = static_cast<int64_t>(g.plotW());
    if (buckets <= 0 || columns <= 0)
        return;
    const double step = std::max(static_cast<double>(buckets) / static_cast<double>(columns), 1.0);
    const bool scaled = editsApply(edits);
    const qreal ratio = painter.device()->devicePixelRatioF();
    ColumnSpans spans(static_cast<int>(std::ceil(g.width * ratio)), ratio);
    for (int64_t c = 0;; ++c) {
        const auto first = static_cast<int64_t>(step * static_cast<double>(c));
        if (first >= buckets || c >= columns)
            break;
        const int64_t last = std::max(first + 1, std::min(static_cast<int64_t>(step * static_cast<double>(c + 1)), buckets));
        float lo = env.minValues[static_cast<size_t>(first)], hi = env.maxValues[static_cast<size_t>(first)];
        for (int64_t b = first + 1; b < last; ++b) {
            lo = std::min(lo, env.minValues[static_cast<size_t>(b)]);
            hi = std::max(hi, env.maxValues[static_cast<size_t>(b)]);
        }
        double low = lo, high = hi;
        if (scaled) {
            const double t = data.duration * static_cast<double>(c) / static_cast<double>(columns);
            const double gain = std::pow(10.0, SegmentGainEvaluation::gainOffsetAtTime(*edits, t) / 20.0);
            low *= gain;
            high *= gain;
        }
        // A one-point stroke centred on x = marginLeft + c + 0.5, at least
        // half a point tall.
        const double x = PlotGeometry::marginLeft + static_cast<double>(c);
        const double y1 = g.yOfSample(high), y2 = g.yOfSample(low);
        spans.add(x, x + 1, y1, std::max(y2, y1 + 0.5));
    }
    QImage layer = layerFor(painter, g);
    QColor opaque = envelopeColor;
    opaque.setAlphaF(1.0f);
    spans.paint(layer, opaque);
    painter.save();
    painter.setOpacity(envelopeColor.alphaF());
    painter.drawImage(QPointF(0, 0), layer);
    painter.restore();
}

struct CurvePoint {
    QPointF at;
    bool soft;
};

// Many curve points share one pixel column on a long file (a point every
// 0.1 s); stroking them all costs far more than a frame. Per column only the
// first, the highest, the lowest and the last point can show, and every
// point where the colour changes is kept, so the drawing looks the same.
std::vector<CurvePoint> visiblePoints(const std::vector<CurvePoint>& all) {
    std::vector<CurvePoint> kept;
    kept.reserve(std::min<size_t>(all.size(), 8192));
    size_t i = 0;
    while (i < all.size()) {
        const double column = std::floor(all[i].at.x());
        size_t end = i;
        while (end < all.size() && std::floor(all[end].at.x()) == column)
            ++end;
        size_t top = i, bottom = i;
        for (size_t k = i; k < end; ++k) {
            if (all[k].at.y() < all[top].at.y())
                top = k;
            if (all[k].at.y() > all[bottom].at.y())
                bottom = k;
        }
        for (size_t k = i; k < end; ++k) {
            const bool changes = (k > 0 && all[k - 1].soft != all[k].soft) ||
                                 (k + 1 < all.size() && all[k + 1].soft != all[k].soft);
            if (k == i || k == end - 1 || k == top || k == bottom || changes)
                kept.push_back(all[k]);
        }
        i = end;
    }
    return kept;
}

void paintCurve(QPainter& painter, const AnalysisResult& data, const PlotGeometry& g) {
    if (data.times.size() < 2 || data.loudnessCurve.size() != data.times.size())
        return;
    const double softBelow = data.peakLUFS - 12.0;
    std::vector<CurvePoint> all;
    all.reserve(data.times.size() + 2);
    const auto add = [&](double t, double lufs) {
        all.push_back({QPointF(g.xOfTime(t, data.duration), g.yOfLUFS(lufs)), lufs < softBelow});
    };
    if (data.times.front() > 0)
        add(0.0, data.loudnessCurve.front());
    for (size_t i = 0; i < data.times.size(); ++i)
        add(data.times[i], data.loudnessCurve[i]);
    if (data.times.back() < data.duration)
        add(data.duration, data.loudnessCurve.back());

    // The segments of each colour, in order; the segment at a change of
    // state belongs to both.
    struct Segment {
        QPointF from, to;
        bool soft;
    };
    std::vector<Segment> segments;
    const std::vector<CurvePoint> points = visiblePoints(all);
    for (size_t i = 1; i < points.size(); ++i) {
        const CurvePoint& p = points[i];
        const CurvePoint& q = points[i - 1];
        segments.push_back({q.at, p.at, q.soft});
        if (p.soft != q.soft)
            segments.push_back({q.at, p.at, p.soft});
    }
    // A dense curve is written as pixel runs, a sparse one stroked as paths.
    if (static_cast<double>(points.size()) > g.plotW()) {
        const qreal ratio = painter.device()->devicePixelRatioF();
        ColumnSpans normalSpans(static_cast<int>(std::ceil(g.width * ratio)), ratio);
        ColumnSpans softSpans(static_cast<int>(std::ceil(g.width * ratio)), ratio);
        for (const Segment& s : segments)
            (s.soft ? softSpans : normalSpans).addLine(s.from, s.to, 2.0);
        QImage layer = layerFor(painter, g);
        normalSpans.paint(layer, curveColor);
        softSpans.paint(layer, softCurveColor);
        painter.drawImage(QPointF(0, 0), layer);
        return;
    }
    QPainterPath normal, soft;
    for (size_t i = 0; i < points.size(); ++i) {
        const CurvePoint& p = points[i];
        if (i == 0) {
            normal.moveTo(p.at);
            soft.moveTo(p.at);
            continue;
        }
        const CurvePoint& q = points[i - 1];
        if (p.soft == q.soft) {
            (p.soft ? soft : normal).lineTo(p.at);
        } else {
            // The segment at a change of state is drawn in both paths.
            QPainterPath& into = p.soft ? soft : normal;
            into.moveTo(q.at);
            into.lineTo(p.at);
            (q.soft ? soft : normal).lineTo(p.at);
        }
    }
    painter.strokePath(normal, pen(curveColor, 2.0));
    painter.strokePath(soft, pen(softCurveColor, 2.0));
}

} // namespace

std::vector<int> timeTicks(double duration) {
    std::vector<int> ticks;
    const int step = std::max(static_cast<int>(duration / 10.0), 1);
    for (int t = 0; t <= static_cast<int>(duration); t += step)
        ticks.push_back(t);
    return ticks;
}

void paintStaticLayer(QPainter& painter, const AnalysisResult& data, const SegmentEditSnapshot* edits,
                      const PlotGeometry& g) {
    if (!g.isDrawable())
        return;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    const double duration = data.duration;
    const double xs = g.xOfTime(data.windowStart, duration), xe = g.xOfTime(data.windowEnd, duration);

    // 1. The loudest window.
    painter.fillRect(QRectF(xs, g.yTop(), xe - xs, g.plotH()), withAlpha(Qt::yellow, 0.08));
    painter.setPen(pen(withAlpha(Qt::yellow, 0.4), 1.0, true));
    verticalLine(painter, xs, g);
    verticalLine(painter, xe, g);

    // 2. Soft passages.
    const QColor orange(255, 165, 0);
    for (const TimeRange& range : data.softPassageRanges()) {
        const double a = g.xOfTime(range.start, duration), b = g.xOfTime(range.end, duration);
        painter.fillRect(QRectF(a, g.yTop(), b - a, g.plotH()), withAlpha(orange, 0.04));
        painter.setPen(pen(withAlpha(orange, 0.2), 1.0, true));
        verticalLine(painter, a, g);
        verticalLine(painter, b, g);
    }

    // 3. The envelope, one stroke per column.
    paintEnvelope(painter, data, edits, g);

    // 4. The loudest window's loudness.
    painter.setFont(monospaced(12));
    painter.setPen(Qt::yellow);
    drawCentred(painter, QString::asprintf("Loudest 20s: %.1f LUFS", data.peakLUFS),
                QPointF((xs + xe) / 2, g.yTop() + 12));

    // 5. The loudness curve, soft parts in their own colour.
    paintCurve(painter, data, g);

    // 6. Separators, in edit mode.
    if (edits) {
        painter.setPen(pen(withAlpha(Qt::cyan, 0.7), 1.5, true, 6, 4));
        for (const Separator& s : edits->separators)
            verticalLine(painter, g.xOfTime(s.timeSeconds, duration), g);
    }

    // 7. LUFS labels.
    painter.setFont(monospaced(8));
    painter.setPen(Qt::gray);
    const QFontMetricsF small(painter.font());
    for (int v = -60; v <= 0; v += 10) {
        const QString text = QString::number(v);
        const double y = g.yOfLUFS(v);
        painter.drawText(QPointF(30 - small.horizontalAdvance(text), y + (small.ascent() - small.descent()) / 2), text);
    }

    // 8. Centre line, 9. plot frame.
    painter.setPen(pen(withAlpha(Qt::gray, 0.3), 1.0));
    painter.drawLine(QPointF(PlotGeometry::marginLeft, g.midY()), QPointF(g.width - PlotGeometry::marginRight, g.midY()));
    painter.setPen(pen(withAlpha(Qt::gray, 0.2), 1.0));
    painter.drawRect(QRectF(PlotGeometry::marginLeft, g.yTop(), g.plotW(), g.plotH()));

    // 10. Time axis.
    for (int t : timeTicks(duration)) {
        const double x = g.xOfTime(t, duration);
        painter.setPen(pen(Qt::gray, 1.0));
        painter.drawLine(QPointF(x, g.yBot()), QPointF(x, g.yBot() + 5));
        // Centred under its tick, but never past the widget's edges.
        const QString label = QString::asprintf("%d:%02d", t / 60, t % 60);
        const double half = painter.fontMetrics().horizontalAdvance(label) / 2.0 + 1;
        drawCentred(painter, label, QPointF(std::clamp(x, half, g.width - half), g.yBot() + 14));
    }
    painter.restore();
}

void paintPlayhead(QPainter& painter, double playheadTime, double duration, const PlotGeometry& g) {
    if (playheadTime < 0 || duration <= 0 || !g.isDrawable())
        return;
    const double x = PlotGeometry::marginLeft + playheadTime / duration * g.plotW();
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
    if (hoverX < PlotGeometry::marginLeft || hoverX > g.width - PlotGeometry::marginRight || data.times.empty() ||
        data.duration <= 0 || data.loudnessCurve.size() != data.times.size())
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

QString hoverText(const AnalysisResult& data, double hoverX, const SegmentEditSnapshot* edits,
                  const PlotGeometry& g) {
    const auto value = readOut(data, hoverX, edits, g);
    if (!value)
        return QString();
    const auto [t, lufs] = *value;
    return QString::asprintf("%d:%04.1f  %.1f LUFS", static_cast<int>(t) / 60, std::fmod(t, 60.0), lufs);
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

    const double ly = std::max(20.0, g.yTop() + 5);
    painter.setFont(monospaced(10, true));
    const QFontMetricsF metrics(painter.font());
    const double boxWidth = metrics.horizontalAdvance(text) + 8;
    // In the last tenth of the plot the read-out goes left of the pointer,
    // so that it never runs off the edge.
    const double boxLeft = hx > g.marginLeft + 0.9 * g.plotW() ? hx - 8 - boxWidth : hx + 8;
    painter.fillRect(QRectF(boxLeft, ly - 14, boxWidth, 20), withAlpha(Qt::black, 0.8));
    painter.setPen(Qt::yellow);
    painter.drawText(QPointF(boxLeft + 4, ly - 4 + (metrics.ascent() - metrics.descent()) / 2), text);

    const double y = g.yOfLUFS(value->second);
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
