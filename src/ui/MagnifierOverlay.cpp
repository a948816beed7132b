#include "ui/MagnifierOverlay.h"

#include "editing/SegmentEditModel.h"
#include "editing/SegmentGainEvaluation.h"
#include "ui/PaintKit.h"
#include "ui/SegmentEditPainter.h"
#include "ui/WaveformPainter.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

using namespace PaintKit;

MagnifierOverlay::Lens MagnifierOverlay::lens() const {
    const PlotGeometry& g = geometry;
    const double duration = data.duration;
    Lens l{};
    l.pointerTime = std::clamp(duration * (centerX - g.marginLeft) / g.plotW(), 0.0, std::max(duration, 0.0));
    l.length = duration / zoomFactor;
    l.start = std::max(std::min(l.pointerTime - l.length / 2, duration - l.length), 0.0);
    l.end = std::min(l.start + l.length, duration);
    l.x0 = std::min(g.marginLeft + g.plotW() - magnifierWidth, std::max(g.marginLeft, centerX - magnifierWidth / 2));
    l.y0 = g.yTop() + 10;
    l.left = l.x0 + 4;
    l.right = l.x0 + magnifierWidth - 4;
    l.top = l.y0 + 4;
    l.bottom = l.y0 + magnifierHeight - 16;
    return l;
}

QString MagnifierOverlay::timeLabel(double seconds) {
    return QString::asprintf("%d:%05.2f", static_cast<int>(seconds) / 60, std::fmod(seconds, 60.0));
}

namespace {

// The lens's background and border, drawn once for its size: anti-aliasing
// a rounded rectangle costs more than everything inside it.
QImage lensFrame(double width, double height, double ratio) {
    static QImage cached;
    const QSize pixels(static_cast<int>(std::ceil((width + 2) * ratio)),
                       static_cast<int>(std::ceil((height + 2) * ratio)));
    if (cached.size() == pixels && cached.devicePixelRatio() == ratio)
        return cached;
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    image.setDevicePixelRatio(ratio);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing, true);
    QPainterPath frame;
    frame.addRoundedRect(QRectF(1, 1, width, height), 6, 6);
    painter.fillPath(frame, QColor::fromRgbF(0.08f, 0.08f, 0.1f, 0.95f));
    painter.strokePath(frame, pen(withAlpha(Qt::cyan, 0.5), 1.5));
    painter.end();
    cached = image;
    return cached;
}

} // namespace

void MagnifierOverlay::paint(QPainter& painter) const {
    const Lens l = lens();
    const double duration = data.duration;
    const double w = l.right - l.left, h = l.bottom - l.top;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    QPainterPath frame;
    frame.addRoundedRect(QRectF(l.x0, l.y0, magnifierWidth, magnifierHeight), 6, 6);
    painter.drawImage(QPointF(l.x0 - 1, l.y0 - 1),
                      lensFrame(magnifierWidth, magnifierHeight, painter.device()->devicePixelRatioF()));
    const WaveformEnvelope& env = data.envelope;
    const int64_t buckets =
        std::min<int64_t>(env.bucketCount, static_cast<int64_t>(std::min(env.minValues.size(), env.maxValues.size())));
    if (!(l.length > 0) || buckets <= 0 || !(duration > 0) || w <= 0 || h <= 0) {
        painter.restore();
        return;
    }
    painter.setClipPath(frame);
    const bool edited = SegmentEditModel::hasEdits(edits);
    const auto offsetAt = [&](double t) { return edited ? SegmentGainEvaluation::gainOffsetAtTime(edits, t) : 0.0; };

    // The waveform, one bucket per column.
    const int columns = static_cast<int>(w);
    const double mid = (l.top + l.bottom) / 2, half = h / 2;
    SpanLayer waveform(QRectF(l.left, l.top - 1, w, h + 2), painter.device()->devicePixelRatioF());
    ColumnSpans& spans = waveform.add(WaveformPainter::envelopeColor);
    for (int i = 0; i < columns; ++i) {
        const double t = l.start + i * l.length / columns;
        const auto k = static_cast<int64_t>(static_cast<double>(env.bucketCount) / duration * t);
        if (k < 0 || k >= buckets)
            continue;
        const double gain = edited ? std::pow(10.0, offsetAt(t) / 20.0) : 1.0;
        const double lo = env.minValues[static_cast<size_t>(k)] * gain,
                     hi = env.maxValues[static_cast<size_t>(k)] * gain;
        const double x = l.left + i;
        spans.add(x, x + 1, mid - half * hi, std::max(mid - half * lo, mid - half * hi + 0.5));
    }
    waveform.draw(painter);

    // The loudness curve, with a margin of a twentieth of the window on each side.
    if (data.times.size() > 1 && data.loudnessCurve.size() == data.times.size()) {
        const auto yOf = [&](double v) {
            return l.bottom - h * (std::clamp(v, lufsMin, lufsMax) - lufsMin) / (lufsMax - lufsMin);
        };
        const double quietBelow = data.loudest20sLUFS - 10.0;
        std::vector<CurvePoint> measured, modified;
        for (size_t i = 0; i < data.times.size(); ++i) {
            const double t = data.times[i], v = data.loudnessCurve[i];
            if (t < l.start - 0.05 * l.length || t > l.end + 0.05 * l.length)
                continue;
            measured.push_back({QPointF(l.xOfTime(t), yOf(v)), v < quietBelow});
            if (edited) {
                const double m = v + offsetAt(t);
                modified.push_back({QPointF(l.xOfTime(t), yOf(m)), m < quietBelow});
            }
        }
        const QColor quiet = SegmentEditPainter::quietModifiedCurveColor;
        if (!edited) {
            strokeSplitCurve(painter, measured, WaveformPainter::curveColor, quiet, 1.5);
        } else {
            for (CurvePoint& p : measured)
                p.quiet = false;
            strokeSplitCurve(painter, measured, WaveformPainter::curveColor, WaveformPainter::curveColor, 1.0, 0.25);
            strokeSplitCurve(painter, modified, SegmentEditPainter::modifiedCurveColor, quiet, 1.5);
        }
    }

    // Fade zones, then separators with their fade handles, the playhead
    // and the pointer.
    std::vector<VerticalBand> bands;
    for (const Separator& s : edits.separators) {
        const double f = s.fadeDurationMs / 2000.0;
        const double zoneStart = s.timeSeconds - f, zoneEnd = s.timeSeconds + f;
        if (zoneEnd >= l.start && zoneStart <= l.end)
            bands.push_back({l.xOfTime(std::max(zoneStart, l.start)), l.xOfTime(std::min(zoneEnd, l.end)), l.top,
                             l.bottom, withAlpha(Qt::cyan, 0.25)});
    }
    const auto line = [&](double x, double width, const QColor& color, double on = 0, double off = 0) {
        bands.push_back({x - width / 2, x + width / 2, l.top, l.bottom, color, on, off});
    };
    std::vector<QPointF> handles;
    for (const Separator& s : edits.separators) {
        if (s.timeSeconds < l.start || s.timeSeconds > l.end)
            continue;
        line(l.xOfTime(s.timeSeconds), 1.5, withAlpha(Qt::cyan, 0.7), 4, 3);
        const double fadeEnd = s.timeSeconds + s.fadeDurationMs / 2000.0;
        if (fadeEnd >= l.start && fadeEnd <= l.end)
            handles.push_back({l.xOfTime(fadeEnd), l.bottom - 1});
    }
    drawVerticalBands(painter, bands);
    painter.setPen(Qt::NoPen);
    painter.setBrush(withAlpha(Qt::cyan, 0.8));
    for (const QPointF& e : handles) {
        const QPointF triangle[3] = {e, {e.x() + 6, e.y()}, {e.x(), e.y() - 6}};
        painter.drawPolygon(triangle, 3);
    }
    bands.clear();
    if (playheadTime >= l.start && playheadTime <= l.end)
        line(l.xOfTime(playheadTime), 2.0, WaveformPainter::playheadColor);
    const double pointerX = l.xOfTime(l.pointerTime);
    if (pointerX >= l.left && pointerX <= l.right)
        line(pointerX, 1.0, withAlpha(Qt::white, 0.4), 2, 2);
    drawVerticalBands(painter, bands);

    QFont font = monospaced(9);
    font.setWeight(QFont::Medium);
    painter.setFont(font);
    painter.setPen(withAlpha(Qt::cyan, 0.8));
    drawCentred(painter, timeLabel(l.pointerTime), QPointF(l.x0 + magnifierWidth / 2, l.bottom + 8));
    painter.restore();
}
