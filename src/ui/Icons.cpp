#include "ui/Icons.h"

#include <QHash>
#include <QPainter>

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

} // namespace

QIcon icon(const QString& symbol) {
    const QIcon bundled(QStringLiteral(":/icons/%1.svg").arg(symbol));
    const QString theme = themeNames().value(symbol);
    return theme.isEmpty() ? bundled : QIcon::fromTheme(theme, bundled);
}

QPixmap tinted(const QString& symbol, const QColor& color, int size) {
    // Bundled glyphs only: a theme's coloured icon would not take the tint.
    QPixmap pixmap = QIcon(QStringLiteral(":/icons/%1.svg").arg(symbol)).pixmap(size, size);
    QPainter painter(&pixmap);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), color);
    return pixmap;
}

} // namespace Icons
