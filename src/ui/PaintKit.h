#pragma once

// Drawing helpers shared by the waveform's layers, the segment edit overlay
// and the magnifier: pens and fonts in points, centred text, and curves that
// stay cheap however many points share a pixel column.

#include <QColor>
#include <QImage>
#include <QPen>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <deque>
#include <optional>
#include <vector>

class QFont;
class QPalette;
class QPainter;

namespace PaintKit {

QColor withAlpha(QColor color, double alpha);
// A style sheet that writes a widget's text in `colour`, alpha kept.
QString textColourStyle(const QColor& colour);
// The same in the palette's secondary colour (the placeholder colour), made
// readable on the window's background.
QString secondaryTextStyle(const QPalette& palette);
QColor secondaryText(const QPalette& palette);

// How far apart two colours are to the eye, from 1 (the same) to 21 (black
// on white), as the accessibility guidelines measure it; alpha is ignored.
double contrast(const QColor& a, const QColor& b);
// Text of any colour needs this much against its background to be read.
inline constexpr double readableContrast = 4.5;
// `colour` laid over the first background (for its alpha), then darkened or
// lightened as little as it takes to reach `least` against every background
// given; the nearest it gets when no shade does.
QColor readableOn(const QColor& colour, std::initializer_list<QColor> backgrounds, double least = readableContrast);
// A pen with flat caps; dashes are given in points, not in line widths.
QPen pen(const QColor& color, double width, bool dashed = false, double on = 4, double off = 4);
QFont monospaced(double pixelSize, bool bold = false);
// Draws `text` with its centre at `centre`.
void drawCentred(QPainter& painter, const QString& text, QPointF centre);

// A vertical band from x0 to x1 and from top to bottom (points), dashed
// when `off` > 0 (`on` points drawn, `off` skipped, from the top), its edges
// anti-aliased. Bands are written as pixels into a layer: Qt's rasterizer
// spends a span on every row of a thin tall shape, which makes fifty
// separator lines cost most of a frame.
struct VerticalBand {
    double x0, x1, top, bottom;
    QColor color;
    double on = 0, off = 0;
};

// Draws the bands, in order, as one image over their bounding box.
void drawVerticalBands(QPainter& painter, const std::vector<VerticalBand>& bands);

// Vertical runs per device pixel column of `area`, painted with
// anti-aliased ends into a layer that is then laid over the picture in one
// go. Thousands of strokes in a few hundred columns cost many frames as
// paths; writing the pixels costs well under one.
class ColumnSpans {
public:
    ColumnSpans(QRectF area, double pixelRatio);

    // A run from `top` to `bottom` (points) over the points from x0 to x1.
    void add(double x0, double x1, double top, double bottom);
    // A line of `width` points from a to b: in every column it crosses, the
    // run of its y values there, widened by half the width on each side.
    void addLine(QPointF a, QPointF b, double width);

    // Composites the runs over `layer`, an image of the area, in `color` at
    // `opacity` (the colour's own alpha is ignored).
    void paint(QImage& layer, const QColor& color, double opacity = 1.0) const;

private:
    QRectF area_;
    double ratio_;
    std::vector<double> top_;
    std::vector<double> bottom_;
};

struct CurvePoint {
    QPointF at;
    bool quiet = false;
};

// Bands and column runs over one area, composited in the order they were
// added into one image that is laid over the picture in one go.
class SpanLayer {
public:
    SpanLayer(QRectF area, double pixelRatio);

    // New runs, painted over what was added before.
    ColumnSpans& add(const QColor& color, double opacity = 1.0);
    void addBand(const VerticalBand& band);
    // The polyline through `points` as strokeSplitCurve draws it, as runs.
    void addSplitCurve(const std::vector<CurvePoint>& points, const QColor& normal, const QColor& quiet, double width,
                       double opacity = 1.0);
    void draw(QPainter& painter) const;

private:
    struct Entry {
        std::optional<ColumnSpans> spans;
        QColor color;
        double opacity = 1.0;
        VerticalBand band{};
    };
    QRectF area_;
    double ratio_;
    std::deque<Entry> entries_; // keeps references to earlier entries valid
};

// The polyline through `points` in two colours: a segment between two points
// of the same state in that state's colour, one across a change of state in
// both. `opacity` applies to the whole drawing (the colours' own alpha is
// ignored). Stroked as paths when sparse, written as pixel runs when several
// points share a column; the two look the same.
void strokeSplitCurve(QPainter& painter, const std::vector<CurvePoint>& points, const QColor& normal,
                      const QColor& quiet, double width, double opacity = 1.0);

} // namespace PaintKit
