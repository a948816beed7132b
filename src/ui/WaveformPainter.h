#pragma once

// The drawing of the waveform view, as free functions on a QPainter so that
// tests and benchmarks can paint into an image: the static layer (loudest
// window, soft passages, envelope, loudness curve, separators, scales), the
// playhead and the hover read-out.

#include "analysis/AnalysisResult.h"
#include "editing/SegmentEditRecords.h"
#include "ui/PlotGeometry.h"

#include <QColor>
#include <QPointF>
#include <QString>
#include <vector>

class QPainter;

namespace WaveformPainter {

inline const QColor background = QColor::fromRgbF(0.12f, 0.12f, 0.14f);
inline const QColor envelopeColor = QColor::fromRgbF(0.27f, 0.51f, 0.71f, 0.7f);
inline const QColor curveColor = QColor::fromRgbF(1.0f, 0.4f, 0.2f);
inline const QColor softCurveColor = QColor::fromRgbF(1.0f, 0.1f, 0.1f);
inline const QColor playheadColor = QColor::fromRgbF(0.2f, 1.0f, 0.47f, 0.85f);

// The static layer over the whole canvas. `edits` is given in edit mode
// only: the envelope is then scaled by the segment gains and the separators
// are drawn. Nothing is drawn when the plot has no positive size.
void paintStaticLayer(QPainter& painter, const AnalysisResult& data, const SegmentEditSnapshot* edits,
                      const PlotGeometry& geometry);
// The static layer in two parts, so that a gain change repaints only the
// first: the loudest window, the soft passages and the envelope (scaled by
// the segment gains); then over them the loudness curve, the separators,
// the labels, the frame and the time axis.
void paintBackdrop(QPainter& painter, const AnalysisResult& data, const SegmentEditSnapshot* edits,
                   const PlotGeometry& geometry);
void paintForeground(QPainter& painter, const AnalysisResult& data, const SegmentEditSnapshot* edits,
                     const PlotGeometry& geometry);

void paintPlayhead(QPainter& painter, double playheadTime, double duration, const PlotGeometry& geometry);

// The read-out under the pointer at `hover`; `edits` in edit mode.
void paintHover(QPainter& painter, const AnalysisResult& data, QPointF hover, const SegmentEditSnapshot* edits,
                const PlotGeometry& geometry);

// "1:05.3  -14.2 LUFS" for a pointer at x; empty outside the plot or
// without a curve.
QString hoverText(const AnalysisResult& data, double hoverX, const SegmentEditSnapshot* edits,
                  const PlotGeometry& geometry);

// The loudness curve drawn over the whole file: its first value from 0 s, its
// last on to the end. A file too short for two points gets its loudness,
// level over its length; a silent one, nothing.
struct WholeFileCurve {
    std::vector<double> times;
    std::vector<double> lufs;
};
WholeFileCurve wholeFileCurve(const AnalysisResult& data);

// The seconds that get a tick on the time axis.
std::vector<int> timeTicks(double duration);

} // namespace WaveformPainter
