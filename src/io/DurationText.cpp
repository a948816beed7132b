#include "io/DurationText.h"

#include <cmath>

QString durationText(double seconds) {
    if (!std::isfinite(seconds) || seconds < 0.0)
        seconds = 0.0;
    const auto tenths = static_cast<long long>(std::llround(seconds * 10.0));
    const long long hours = tenths / 36000;
    const long long minutes = (tenths / 600) % 60;
    const QString secText =
        QStringLiteral("%1").arg(static_cast<double>(tenths % 600) / 10.0, 4, 'f', 1, QLatin1Char('0'));
    if (hours > 0)
        return QStringLiteral("%1:%2:%3").arg(hours).arg(minutes, 2, 10, QLatin1Char('0')).arg(secText);
    return QStringLiteral("%1:%2").arg(minutes).arg(secText);
}
