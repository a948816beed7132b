#include "ui/Icons.h"

#include <QApplication>
#include <QGraphicsDropShadowEffect>
#include <QGuiApplication>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QSvgRenderer>

// The icons live in this static library; its resources must be registered by hand.
static void registerIconResources() {
    static const bool registered = [] {
        Q_INIT_RESOURCE(icons);
        return true;
    }();
    (void)registered;
}

namespace Icons {

namespace {

// The symbols taken from the desktop's icon theme where it has them; every
// other symbol is a tinted monochrome glyph of our own.
bool themed(const QString& symbol) {
    return symbol == QLatin1String("window-close") || symbol == QLatin1String("edit-find");
}

// The bundled SVG drawn with QtSvg itself, so no image plug-in is needed.
QPixmap bundled(const QString& symbol, int size) {
    registerIconResources();
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QSvgRenderer renderer(QStringLiteral(":/icons/%1.svg").arg(symbol));
    if (renderer.isValid()) {
        QPainter painter(&pixmap);
        renderer.render(&painter);
    }
    return pixmap;
}

} // namespace

QIcon icon(const QString& symbol) {
    // Drawn in the palette's button text colour, so a glyph reads on a light
    // and on a dark palette alike.
    const QColor colour = QGuiApplication::palette().color(QPalette::ButtonText);
    QIcon fallback;
    for (int size : {16, 24, 32, 48, 64})
        fallback.addPixmap(tinted(symbol, colour, size));
    return themed(symbol) ? QIcon::fromTheme(symbol, fallback) : fallback;
}

QIcon appIcon() {
    QIcon icon;
    for (int size : {16, 24, 32, 48, 64, 128, 256})
        icon.addPixmap(bundled(QStringLiteral("sonivel"), size));
    return icon;
}

QPixmap tinted(const QString& symbol, const QColor& color, int size) {
    // Bundled glyphs only: a theme's coloured icon would not take the tint.
    QPixmap pixmap = bundled(symbol, size);
    QPainter painter(&pixmap);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), color);
    return pixmap;
}

QPixmap tintedForScreen(const QString& symbol, const QColor& color, int points) {
    const double ratio = qApp->devicePixelRatio();
    QPixmap pixmap = tinted(symbol, color, static_cast<int>(points * ratio));
    pixmap.setDevicePixelRatio(ratio);
    return pixmap;
}

QPixmap canvas(int points) {
    const double ratio = qApp->devicePixelRatio();
    QPixmap pixmap(QSize(points, points) * ratio);
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    return pixmap;
}

QLabel* appIconLabel(int size, double radius, double blur, double drop) {
    auto* icon = new QLabel;
    const double ratio = qApp->devicePixelRatio();
    QPixmap rounded = canvas(size);
    {
        QPainter p(&rounded);
        p.setRenderHint(QPainter::Antialiasing, true);
        QPainterPath clip;
        clip.addRoundedRect(QRectF(0, 0, size, size), radius, radius);
        p.setClipPath(clip);
        p.drawPixmap(QRect(0, 0, size, size), QApplication::windowIcon().pixmap(QSize(size, size) * ratio));
    }
    icon->setPixmap(rounded);
    icon->setAlignment(Qt::AlignCenter);
    auto* shadow = new QGraphicsDropShadowEffect(icon);
    shadow->setColor(QColor(0, 0, 0, 51));
    shadow->setBlurRadius(blur);
    shadow->setOffset(0, drop);
    icon->setGraphicsEffect(shadow);
    return icon;
}

} // namespace Icons
