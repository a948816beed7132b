#include "ui/TimeText.h"

#include <algorithm>
#include <cmath>

namespace TimeText {

QString playhead(double seconds) {
    const double x = std::max(0.0, seconds);
    const auto minutes = static_cast<long long>(x) / 60;
    return QString::asprintf("%lld:%04.1f", minutes, std::fmod(x, 60.0));
}

QString axisLabel(int seconds) { return QString::asprintf("%d:%02d", seconds / 60, seconds % 60); }

} // namespace TimeText
