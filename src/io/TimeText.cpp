#include "io/TimeText.h"

#include <algorithm>
#include <cmath>

namespace TimeText {

QString playhead(double seconds) {
    const double x = std::max(0.0, seconds);
    const auto minutes = static_cast<long long>(x) / 60;
    return QString::asprintf("%lld:%04.1f", minutes, std::fmod(x, 60.0));
}

QString axisLabel(int seconds) { return QString::asprintf("%d:%02d", seconds / 60, seconds % 60); }

QString report(double seconds) {
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

} // namespace TimeText
