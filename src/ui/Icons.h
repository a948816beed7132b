#pragma once

// The symbols the views use, named as in the design: freedesktop theme icons
// where the theme has a fitting one, bundled SVGs otherwise, so every symbol
// exists whatever theme is installed.

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QString>

class QLabel;

namespace Icons {

// "edit-cut", "view-refresh", "window-close", "list-add" ..., in the
// palette's button text colour (the theme's own for the close and find icons).
QIcon icon(const QString& symbol);
// The application's own icon, in its colours.
QIcon appIcon();
// The symbol drawn in one colour at `size` pixels square.
QPixmap tinted(const QString& symbol, const QColor& color, int size);
// The same `points` square, sharp at the screen's pixel ratio.
QPixmap tintedForScreen(const QString& symbol, const QColor& color, int points);
// A transparent picture `points` square at the screen's pixel ratio, to
// paint in points.
QPixmap canvas(int points);

// The application's icon, `size` points square, its corners rounded by
// `radius`, over a soft black shadow `drop` points below it.
QLabel* appIconLabel(int size, double radius, double blur, double drop);

} // namespace Icons
