#pragma once

// What edit mode draws over the waveform: each separator's dashed line, its
// fade handle (◣ at the end of the fade) and the segments' gain labels; the
// fade zones; and, when the file has edits, the loudness curve as the
// segment gains change it, over a ghost of the measured curve, with the
// stretches made louder shaded green and those made quieter red.

#include "analysis/AnalysisResult.h"
#include "editing/SegmentEditRecords.h"
#include "ui/PlotGeometry.h"

#include <QColor>

class QPainter;

namespace SegmentEditPainter {

inline const QColor modifiedCurveColor = QColor::fromRgbF(0.2f, 0.9f, 1.0f);
inline const QColor quietModifiedCurveColor = QColor::fromRgbF(1.0f, 0.0f, 0.4f);
// The fade handle's size in points; the handle is hit within this plus 4.
inline constexpr double fadeTriangleSize = 8.0;

void paint(QPainter& painter, const AnalysisResult& data, const SegmentEditSnapshot& edits,
           const PlotGeometry& geometry);

} // namespace SegmentEditPainter
