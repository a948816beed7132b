#include "ui/TimeText.h"

#include <algorithm>
#include <cmath>

namespace TimeText {

QString playhead(double seconds) {
    const long long tenths = std::llround(std::max(0.0, seconds) * 10.0);
    const long long whole = tenths / 10;
    const QString rest = QString::asprintf("%02lld.%lld", whole % 60, tenths % 10);
    return whole >= 3600 ? QString::asprintf("%lld:%02lld:", whole / 3600, whole / 60 % 60) + rest
                         : QString::asprintf("%lld:", whole / 60) + rest;
}

QString axisLabel(int seconds) {
    return seconds >= 3600 ? QString::asprintf("%d:%02d:%02d", seconds / 3600, seconds / 60 % 60, seconds % 60)
                           : QString::asprintf("%d:%02d", seconds / 60, seconds % 60);
}

} // namespace TimeText
