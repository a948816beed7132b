#include "ui/WaveformPainter.h"

#include "editing/SegmentEditModel.h"
#include "editing/SegmentGainEvaluation.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <cmath>

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

void paintEnvelope(QPainter& painter, const AnalysisResult& data, const SegmentEditSnapshot* edits,
                   const PlotGeometry& g) {
    const WaveformEnvelope& env = data.envelope;
    const int64_t buckets = std::min<int64_t>(env.bucketCount, static_cast<int64_t>(std::min(env.minValues.size(), env.maxValues.size())));
    const auto columns = static_cast<int64_t>(g.plotW());
    if (buckets <= 0 || columns <= 0)
        return;
    const double step = std::max(static_cast<double>(buckets) / static_cast<double>(columns), 1.0);
    const bool scaled = editsApply(edits);
    QPainterPath path;
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
        const double x = PlotGeometry::marginLeft + static_cast<double>(c) + 0.5;
        const double y1 = g.yOfSample(high), y2 = g.yOfSample(low);
        path.moveTo(x, y1);
        path.lineTo(x, std::max(y2, y1 + 0.5)); // every column shows at least half a point
    }
    painter.strokePath(path, pen(envelopeColor, 1.0));
}

void paintCurve(QPainter& painter, const AnalysisResult& data, const PlotGeometry& g) {
    if (data.times.size() < 2 || data.loudnessCurve.size() != data.times.size())
        return;
    std::vector<double> times = data.times, values = data.loudnessCurve;
    if (times.front() > 0) {
        times.insert(times.begin(), 0.0);
        values.insert(values.begin(), values.front());
    }
    if (times.back() < data.duration) {
        times.push_back(data.duration);
        values.push_back(values.back());
    }
    const double softBelow = data.peakLUFS - 12.0;
    QPainterPath normal, soft;
    QPointF previous;
    bool previousSoft = false;
    for (size_t i = 0; i < times.size(); ++i) {
        const QPointF p(g.xOfTime(times[i], data.duration), g.yOfLUFS(values[i]));
        const bool isSoft = values[i] < softBelow;
        if (i == 0) {
            normal.moveTo(p);
            soft.moveTo(p);
        } else if (isSoft == previousSoft) {
            (isSoft ? soft : normal).lineTo(p);
        } else {
            // The segment at a change of state is drawn in both paths.
            QPainterPath& into = isSoft ? soft : normal;
            into.moveTo(previous);
            into.lineTo(p);
            (previousSoft ? soft : normal).lineTo(p);
        }
        previous = p;
        previousSoft = isSoft;
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
        drawCentred(painter, QString::asprintf("%d:%02d", t / 60, t % 60), QPointF(x, g.yBot() + 14));
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
    painter.fillRect(QRectF(hx + 8, ly - 14, 7.0 * static_cast<double>(text.size()) + 8, 20), withAlpha(Qt::black, 0.8));
    painter.setFont(monospaced(10, true));
    painter.setPen(Qt::yellow);
    const QFontMetricsF metrics(painter.font());
    painter.drawText(QPointF(hx + 12, ly - 4 + (metrics.ascent() - metrics.descent()) / 2), text);

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
