#pragma once

// The lens at the top of the waveform plot in edit mode: a thirty-second of
// the file around the pointer (kept inside the file near its ends) drawn at
// 32 times the plot's horizontal scale, with the waveform, the loudness
// curve (as the segment gains change it when the file has edits), fades,
// separators, the playhead, the pointer and its time. Drawn from the
// envelope buckets, one lookup per lens column, so its cost does not depend
// on the file's length. Takes no pointer input.

#include "analysis/AnalysisResult.h"
#include "editing/SegmentEditRecords.h"
#include "ui/PlotGeometry.h"

#include <QString>

class QPainter;

struct MagnifierOverlay {
    const AnalysisResult& data;
    const SegmentEditSnapshot& edits;
    double centerX = 0.0; // the pointer's x in the plot's coordinates
    PlotGeometry geometry;
    double playheadTime = -1.0;
    double magnifierWidth = 280.0;
    double magnifierHeight = 110.0;
    double zoomFactor = 32.0;
    double lufsMin = -60.0;
    double lufsMax = 0.0;

    // Where the lens sits and which stretch of the file it shows.
    struct Lens {
        double pointerTime;              // c: the time under the pointer, within the file
        double start, end, length;       // a, b and s: the window shown, in seconds
        double x0, y0;                   // the lens's top-left corner
        double left, right, top, bottom; // the inner area; the time label sits below it
        double xOfTime(double t) const { return left + (right - left) * (t - start) / length; }
    };
    Lens lens() const;

    void paint(QPainter& painter) const;

    // "2:05.37": whole minutes, then the seconds with two decimals.
    static QString timeLabel(double seconds);
};
