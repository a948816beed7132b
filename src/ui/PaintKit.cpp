#include "ui/PaintKit.h"

#include <QPalette>

#include <QFont>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>
#include <limits>

namespace PaintKit {

QString textColourStyle(const QColor& c) {
    return QStringLiteral("color: rgba(%1, %2, %3, %4)").arg(c.red()).arg(c.green()).arg(c.blue()).arg(c.alpha());
}

QString secondaryTextStyle(const QPalette& palette) { return textColourStyle(secondaryText(palette)); }

QColor secondaryText(const QPalette& palette) {
    return readableOn(palette.color(QPalette::PlaceholderText), {palette.color(QPalette::Window)});
}

namespace {

double luminance(const QColor& c) {
    const auto channel = [](double v) { return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
    return 0.2126 * channel(c.redF()) + 0.7152 * channel(c.greenF()) + 0.0722 * channel(c.blueF());
}

// In whole steps of 8 bits, as a style sheet writes it and the screen shows it.
QColor mixed(const QColor& a, const QColor& b, double t) {
    const auto mix = [t](int x, int y) { return static_cast<int>(std::lround(x + (y - x) * t)); };
    return QColor(mix(a.red(), b.red()), mix(a.green(), b.green()), mix(a.blue(), b.blue()));
}

} // namespace

double contrast(const QColor& a, const QColor& b) {
    const double la = luminance(a), lb = luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

QColor readableOn(const QColor& colour, std::initializer_list<QColor> backgrounds, double least) {
    const QColor opaque = backgrounds.size() ? mixed(*backgrounds.begin(), colour, colour.alphaF()) : colour;
    const auto worst = [&](const QColor& c) {
        double w = 21.0;
        for (const QColor& b : backgrounds)
            w = std::min(w, contrast(c, b));
        return w;
    };
    QColor best = opaque;
    for (int step = 0; step <= 50; ++step) {
        for (const QColor& toward : {QColor(Qt::black), QColor(Qt::white)}) {
            const QColor c = mixed(opaque, toward, step / 50.0);
            if (worst(c) >= least)
                return c;
            if (worst(c) > worst(best))
                best = c;
        }
    }
    return best;
}

QColor withAlpha(QColor color, double alpha) {
    color.setAlphaF(static_cast<float>(alpha));
    return color;
}

QPen pen(const QColor& color, double width, bool dashed, double on, double off) {
    QPen p(color, width);
    p.setCapStyle(Qt::FlatCap);
    if (dashed)
        p.setDashPattern({on / width, off / width});
    return p;
}

QFont monospaced(double pixelSize, bool bold) {
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPixelSize(static_cast<int>(std::lround(pixelSize)));
    font.setBold(bold);
    return font;
}

void drawCentred(QPainter& painter, const QString& text, QPointF centre) {
    const QFontMetricsF metrics(painter.font());
    const double w = metrics.horizontalAdvance(text);
    painter.drawText(QPointF(centre.x() - w / 2, centre.y() + (metrics.ascent() - metrics.descent()) / 2), text);
}

namespace {

// The area widened to whole device pixels, so that a layer's columns are the
// picture's columns.
QRectF onDevicePixels(QRectF area, double ratio) {
    const double left = std::floor(area.left() * ratio) / ratio, top = std::floor(area.top() * ratio) / ratio;
    const double right = std::ceil(area.right() * ratio) / ratio, bottom = std::ceil(area.bottom() * ratio) / ratio;
    return {left, top, std::max(0.0, right - left), std::max(0.0, bottom - top)};
}

// `color` at `alpha` (0 to 1), premultiplied.
QRgb premultiplied(const QColor& color, double alpha) {
    const double a = 255.0 * std::clamp(alpha, 0.0, 1.0);
    return qRgba(static_cast<int>(color.redF() * a + 0.5), static_cast<int>(color.greenF() * a + 0.5),
                 static_cast<int>(color.blueF() * a + 0.5), static_cast<int>(a + 0.5));
}

// Premultiplied source over destination.
QRgb over(QRgb src, QRgb dst) {
    const uint keep = 255 - qAlpha(src);
    if (keep == 0 || dst == 0)
        return src;
    const auto scaled = [keep](uint c) {
        const uint t = c * keep + 128;
        return (t + (t >> 8)) >> 8;
    };
    return qRgba(static_cast<int>(qRed(src) + scaled(qRed(dst))), static_cast<int>(qGreen(src) + scaled(qGreen(dst))),
                 static_cast<int>(qBlue(src) + scaled(qBlue(dst))),
                 static_cast<int>(qAlpha(src) + scaled(qAlpha(dst))));
}

// Composites `band` over `layer`, whose top-left corner is at `origin` (points).
void paintBand(QImage& layer, QPointF origin, double ratio, const VerticalBand& band) {
    const double left = (band.x0 - origin.x()) * ratio, right = (band.x1 - origin.x()) * ratio;
    const double upper = (band.top - origin.y()) * ratio, lower = (band.bottom - origin.y()) * ratio;
    const int firstColumn = std::max(0, static_cast<int>(std::floor(left)));
    const int endColumn = std::min(layer.width(), static_cast<int>(std::ceil(right)));
    const int firstRow = std::max(0, static_cast<int>(std::floor(upper)));
    const int endRow = std::min(layer.height(), static_cast<int>(std::ceil(lower)));
    if (firstColumn >= endColumn || firstRow >= endRow)
        return;
    // Points of the dashes drawn from the top down to u (points below the top).
    const double period = band.on + band.off;
    const auto drawnUpTo = [&](double u) {
        if (band.off <= 0)
            return u;
        const double periods = std::floor(u / period);
        return periods * band.on + std::min(u - periods * period, band.on);
    };
    std::vector<double> columns;
    std::vector<QRgb> fullRow; // each column's colour where the row is wholly drawn
    for (int c = firstColumn; c < endColumn; ++c) {
        columns.push_back(std::min(right, c + 1.0) - std::max(left, static_cast<double>(c)));
        fullRow.push_back(premultiplied(band.color, band.color.alphaF() * columns.back()));
    }
    uchar* const bits = layer.bits();
    const qsizetype stride = layer.bytesPerLine();
    for (int y = firstRow; y < endRow; ++y) {
        const double a = (std::max(upper, static_cast<double>(y)) - upper) / ratio;
        const double b = (std::min(lower, y + 1.0) - upper) / ratio;
        const double row = std::clamp((drawnUpTo(b) - drawnUpTo(a)) * ratio, 0.0, 1.0);
        if (row <= 0)
            continue;
        auto* pixel = reinterpret_cast<QRgb*>(bits + y * stride) + firstColumn;
        for (size_t c = 0; c < columns.size(); ++c, ++pixel) {
            const QRgb src =
                row >= 1.0 ? fullRow[c] : premultiplied(band.color, band.color.alphaF() * columns[c] * row);
            *pixel = over(src, *pixel);
        }
    }
}

} // namespace

void drawVerticalBands(QPainter& painter, const std::vector<VerticalBand>& bands) {
    if (bands.empty())
        return;
    QRectF box;
    for (const VerticalBand& b : bands)
        box |= QRectF(QPointF(b.x0, b.top), QPointF(b.x1, b.bottom)).normalized().adjusted(0, 0, 1e-9, 1e-9);
    SpanLayer layer(box, painter.device()->devicePixelRatioF());
    for (const VerticalBand& b : bands)
        layer.addBand(b);
    layer.draw(painter);
}

ColumnSpans::ColumnSpans(QRectF area, double pixelRatio) : area_(onDevicePixels(area, pixelRatio)), ratio_(pixelRatio) {
    const auto columns = static_cast<size_t>(std::lround(area_.width() * ratio_));
    top_.assign(columns, std::numeric_limits<double>::infinity());
    bottom_.assign(columns, -std::numeric_limits<double>::infinity());
}

void ColumnSpans::add(double x0, double x1, double top, double bottom) {
    x0 -= area_.left();
    x1 -= area_.left();
    top = (top - area_.top()) * ratio_;
    bottom = (bottom - area_.top()) * ratio_;
    const int first = std::max(0, static_cast<int>(std::floor(x0 * ratio_)));
    const int last = std::min(static_cast<int>(top_.size()) - 1, static_cast<int>(std::ceil(x1 * ratio_)) - 1);
    for (int c = first; c <= last; ++c) {
        top_[static_cast<size_t>(c)] = std::min(top_[static_cast<size_t>(c)], top);
        bottom_[static_cast<size_t>(c)] = std::max(bottom_[static_cast<size_t>(c)], bottom);
    }
}

void ColumnSpans::addLine(QPointF a, QPointF b, double width) {
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

void ColumnSpans::paint(QImage& layer, const QColor& color, double opacity) const {
    const int height = layer.height();
    const QRgb full = premultiplied(color, opacity);
    uchar* const bits = layer.bits(); // detaches once, not once per pixel
    const qsizetype stride = layer.bytesPerLine();
    for (size_t c = 0; c < top_.size() && static_cast<int>(c) < layer.width(); ++c) {
        const double top = std::max(0.0, top_[c]), bottom = std::min(static_cast<double>(height), bottom_[c]);
        if (!(top < bottom))
            continue;
        for (int y = static_cast<int>(std::floor(top)); y < static_cast<int>(std::ceil(bottom)); ++y) {
            const double coverage = std::min(bottom, y + 1.0) - std::max(top, static_cast<double>(y));
            auto* pixel = reinterpret_cast<QRgb*>(bits + y * stride) + c;
            *pixel = over(coverage >= 1.0 ? full : premultiplied(color, opacity * coverage), *pixel);
        }
    }
}

namespace {

// Many curve points share one pixel column on a long file (a point every
// 0.1 s). Per column only the first, the highest, the lowest and the last
// point can show, and every point where the state changes is kept, so the
// drawing looks the same.
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
            const bool changes =
                (k > 0 && all[k - 1].quiet != all[k].quiet) || (k + 1 < all.size() && all[k + 1].quiet != all[k].quiet);
            if (k == i || k == end - 1 || k == top || k == bottom || changes)
                kept.push_back(all[k]);
        }
        i = end;
    }
    return kept;
}

} // namespace

SpanLayer::SpanLayer(QRectF area, double pixelRatio) : area_(onDevicePixels(area, pixelRatio)), ratio_(pixelRatio) {}

ColumnSpans& SpanLayer::add(const QColor& color, double opacity) {
    entries_.push_back({ColumnSpans(area_, ratio_), color, opacity, {}});
    return *entries_.back().spans;
}

void SpanLayer::addBand(const VerticalBand& band) { entries_.push_back({std::nullopt, {}, 1.0, band}); }

void SpanLayer::addSplitCurve(const std::vector<CurvePoint>& all, const QColor& normal, const QColor& quiet,
                              double width, double opacity) {
    const std::vector<CurvePoint> points = visiblePoints(all);
    ColumnSpans& normalSpans = add(normal, opacity);
    ColumnSpans& quietSpans = add(quiet, opacity);
    for (size_t i = 1; i < points.size(); ++i) {
        const CurvePoint &q = points[i - 1], &p = points[i];
        (q.quiet ? quietSpans : normalSpans).addLine(q.at, p.at, width);
        if (p.quiet != q.quiet)
            (p.quiet ? quietSpans : normalSpans).addLine(q.at, p.at, width);
    }
}

void SpanLayer::draw(QPainter& painter) const {
    if (entries_.empty())
        return;
    QImage layer(static_cast<int>(std::lround(area_.width() * ratio_)),
                 static_cast<int>(std::lround(area_.height() * ratio_)), QImage::Format_ARGB32_Premultiplied);
    layer.fill(Qt::transparent);
    layer.setDevicePixelRatio(ratio_);
    for (const Entry& e : entries_) {
        if (e.spans)
            e.spans->paint(layer, e.color, e.opacity);
        else
            paintBand(layer, area_.topLeft(), ratio_, e.band);
    }
    painter.drawImage(area_.topLeft(), layer);
}

void strokeSplitCurve(QPainter& painter, const std::vector<CurvePoint>& points, const QColor& normal,
                      const QColor& quiet, double width, double opacity) {
    if (points.size() < 2)
        return;
    const double span = points.back().at.x() - points.front().at.x();
    if (static_cast<double>(points.size()) > std::abs(span)) {
        double top = points.front().at.y(), bottom = top;
        for (const CurvePoint& p : points) {
            top = std::min(top, p.at.y());
            bottom = std::max(bottom, p.at.y());
        }
        const double left = std::min(points.front().at.x(), points.back().at.x());
        SpanLayer layer(
            QRectF(left - width - 1, top - width - 1, std::abs(span) + 2 * width + 2, bottom - top + 2 * width + 2),
            painter.device()->devicePixelRatioF());
        layer.addSplitCurve(points, normal, quiet, width, opacity);
        layer.draw(painter);
        return;
    }
    const QColor normalColor = withAlpha(normal, 1.0), quietColor = withAlpha(quiet, 1.0);
    QPainterPath normalPath, quietPath;
    normalPath.moveTo(points.front().at);
    quietPath.moveTo(points.front().at);
    for (size_t i = 1; i < points.size(); ++i) {
        const CurvePoint &q = points[i - 1], &p = points[i];
        if (p.quiet == q.quiet) {
            (p.quiet ? quietPath : normalPath).lineTo(p.at);
        } else {
            QPainterPath& into = p.quiet ? quietPath : normalPath;
            into.moveTo(q.at);
            into.lineTo(p.at);
            (q.quiet ? quietPath : normalPath).lineTo(p.at);
        }
    }
    painter.save();
    painter.setOpacity(painter.opacity() * opacity);
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.strokePath(normalPath, pen(normalColor, width));
    painter.strokePath(quietPath, pen(quietColor, width));
    painter.restore();
}

} // namespace PaintKit
