#include "ui/Icons.h"

#include <QHash>
#include <QPainter>
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

// Theme names used only where a tinted monochrome glyph is not needed.
const QHash<QString, QString>& themeNames() {
    static const QHash<QString, QString> names = {
        {"xmark", "window-close"},
        {"magnifyingglass", "edit-find"},
    };
    return names;
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
    QIcon fallback;
    for (int size : {16, 24, 32, 48})
        fallback.addPixmap(bundled(symbol, size));
    const QString theme = themeNames().value(symbol);
    return theme.isEmpty() ? fallback : QIcon::fromTheme(theme, fallback);
}

QPixmap tinted(const QString& symbol, const QColor& color, int size) {
    // Bundled glyphs only: a theme's coloured icon would not take the tint.
    QPixmap pixmap = bundled(symbol, size);
    QPainter painter(&pixmap);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), color);
    return pixmap;
}

} // namespace Icons
