#include "ui/SegmentEditPainter.h"

#include "editing/SegmentEditModel.h"
#include "editing/SegmentGainEvaluation.h"
#include "ui/PaintKit.h"
#include "ui/WaveformPainter.h"

#include <QPainter>
#include <QPainterPath>
#include <cmath>

namespace SegmentEditPainter {

namespace {

using namespace PaintKit;
using WaveformPainter::WholeFileCurve;

// Each separator's fade handle (◣ at the end of its fade), and the gain of
// every segment whose gain shows at one decimal.
void drawHandlesAndLabels(QPainter& painter, const AnalysisResult& data, const SegmentEditSnapshot& edits,
                          const PlotGeometry& g) {
    const double duration = data.duration;
    const double k = fadeTriangleSize * 1.4;
    painter.setPen(Qt::NoPen);
    painter.setBrush(withAlpha(Qt::cyan, 0.9));
    for (const Separator& s : edits.separators) {
        // One triangle at a time: a path holding them all is rasterized
        // over its whole width.
        const double f = g.xOfTime(s.timeSeconds + s.fadeDurationMs / 2000.0, duration);
        const QPointF handle[3] = {{f, g.yBot() - 2}, {f + k, g.yBot() - 2}, {f, g.yBot() - 2 - k}};
        painter.drawPolygon(handle, 3);
    }
    painter.setFont(monospaced(10, true));
    painter.setPen(Qt::white);
    for (size_t i = 0; i < edits.segmentGains.size(); ++i) {
        const double gain = edits.segmentGains[i].gainOffsetDB;
        if (std::abs(gain) <= 0.05)
            continue;
        const auto bounds = SegmentEditModel::segmentBounds(edits, static_cast<int64_t>(i), duration);
        drawCentred(painter, QString::asprintf("%+.1f dB", gain),
                    QPointF(g.xOfTime((bounds.start + bounds.end) / 2, duration), g.yTop() + 20));
    }
}

// The separators' dashed lines, then the fade zones over them.
void addLinesAndZones(SpanLayer& layer, const AnalysisResult& data, const SegmentEditSnapshot& edits,
                      const PlotGeometry& g) {
    for (const Separator& s : edits.separators) {
        const double x = g.xOfTime(s.timeSeconds, data.duration);
        layer.addBand({x - 0.75, x + 0.75, g.yTop(), g.yBot(), withAlpha(Qt::cyan, 0.7), 6, 4});
    }
    if (data.duration <= 0)
        return;
    for (const Separator& s : edits.separators) {
        const double x = g.xOfTime(s.timeSeconds, data.duration);
        const double w = s.fadeDurationMs / 2000.0 / data.duration * g.plotW();
        layer.addBand({x - w, x + w, g.yTop(), g.yBot(), withAlpha(Qt::cyan, 0.25)});
    }
}

// Whether neighbouring points i and i + 1 are shaded: +1 where the modified
// curve lies on average more than half a point above the measured one
// (louder), -1 where below (quieter), 0 elsewhere.
int differenceSign(const std::vector<CurvePoint>& base, const std::vector<CurvePoint>& modified, size_t i) {
    const double d = ((base[i].at.y() - modified[i].at.y()) + (base[i + 1].at.y() - modified[i + 1].at.y())) / 2;
    return std::abs(d) > 0.5 ? (d > 0 ? 1 : -1) : 0;
}

const QColor louderColor = Qt::green;
const QColor quieterColor = Qt::red;
constexpr double shadingOpacity = 0.12;

// The shading as paths: a run of shaded pairs on one side is one polygon,
// the same area as its quadrilaterals.
void drawDifference(QPainter& painter, const std::vector<CurvePoint>& base, const std::vector<CurvePoint>& modified) {
    QPainterPath louder, quieter;
    QPolygonF upper, lower;
    int runSign = 0;
    const auto close = [&] {
        if (runSign != 0) {
            QPolygonF polygon = upper;
            std::reverse(lower.begin(), lower.end());
            polygon += lower;
            (runSign > 0 ? louder : quieter).addPolygon(polygon);
        }
        upper.clear();
        lower.clear();
        runSign = 0;
    };
    for (size_t i = 0; i + 1 < base.size(); ++i) {
        const int sign = differenceSign(base, modified, i);
        if (sign != runSign)
            close();
        if (sign == 0)
            continue;
        if (runSign == 0) {
            runSign = sign;
            upper << base[i].at;
            lower << modified[i].at;
        }
        upper << base[i + 1].at;
        lower << modified[i + 1].at;
    }
    close();
    painter.fillPath(louder, withAlpha(louderColor, shadingOpacity));
    painter.fillPath(quieter, withAlpha(quieterColor, shadingOpacity));
}

// The modified curve over the ghost of the measured one, with the shading.
// Sparse curves are stroked after the layer; dense ones, where several
// points share each pixel column, go into it as runs, each column's shading
// from the top to the bottom of the shaded pairs in it.
void drawModifiedCurve(QPainter& painter, SpanLayer& layer, const AnalysisResult& data,
                       const SegmentEditSnapshot& edits, const PlotGeometry& g) {
    const WholeFileCurve curve = WaveformPainter::wholeFileCurve(data);
    if (curve.times.empty() || !SegmentEditModel::hasEdits(edits)) {
        layer.draw(painter);
        return;
    }
    const double quietBelow = data.loudest20sLUFS - 12.0;
    const std::vector<double>& t = curve.times;
    const std::vector<double> offsets = SegmentGainEvaluation::gainOffsetsAtTimes(edits, t);
    std::vector<CurvePoint> ghost(t.size()), modified(t.size());
    for (size_t i = 0; i < t.size(); ++i) {
        const double x = g.xOfTime(t[i], data.duration), m = curve.lufs[i] + offsets[i];
        ghost[i] = {QPointF(x, g.yOfLUFS(curve.lufs[i])), false};
        modified[i] = {QPointF(x, g.yOfLUFS(m)), m < quietBelow};
    }

    if (static_cast<double>(t.size()) <= g.plotW()) {
        layer.draw(painter);
        strokeSplitCurve(painter, ghost, WaveformPainter::curveColor, WaveformPainter::curveColor, 1.5, 0.25);
        strokeSplitCurve(painter, modified, modifiedCurveColor, quietModifiedCurveColor, 2.0);
        drawDifference(painter, ghost, modified);
        return;
    }
    layer.addSplitCurve(ghost, WaveformPainter::curveColor, WaveformPainter::curveColor, 1.5, 0.25);
    layer.addSplitCurve(modified, modifiedCurveColor, quietModifiedCurveColor, 2.0);
    ColumnSpans& louder = layer.add(louderColor, shadingOpacity);
    ColumnSpans& quieter = layer.add(quieterColor, shadingOpacity);
    for (size_t i = 0; i + 1 < ghost.size(); ++i) {
        if (const int sign = differenceSign(ghost, modified, i)) {
            const double top =
                std::min({ghost[i].at.y(), ghost[i + 1].at.y(), modified[i].at.y(), modified[i + 1].at.y()});
            const double bottom =
                std::max({ghost[i].at.y(), ghost[i + 1].at.y(), modified[i].at.y(), modified[i + 1].at.y()});
            (sign > 0 ? louder : quieter).add(ghost[i].at.x(), ghost[i + 1].at.x(), top, bottom);
        }
    }
    layer.draw(painter);
}

} // namespace

void paint(QPainter& painter, const AnalysisResult& data, const SegmentEditSnapshot& edits, const PlotGeometry& g) {
    if (!g.isDrawable())
        return;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    drawHandlesAndLabels(painter, data, edits, g);
    SpanLayer layer(QRectF(g.marginLeft - 3, g.yTop() - 3, g.plotW() + 6, g.plotH() + 6),
                    painter.device()->devicePixelRatioF());
    addLinesAndZones(layer, data, edits, g);
    drawModifiedCurve(painter, layer, data, edits, g);
    painter.restore();
}

} // namespace SegmentEditPainter
