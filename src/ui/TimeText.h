#pragma once

// How the window writes a time.

#include <QString>

namespace TimeText {

// The transport and the hover read-out, rounded to a tenth first (59.97 s
// reads 1:00.0): "1:15.3", and from an hour on "2:59:59.9". Negative times
// read 0:00.0.
QString playhead(double seconds);

// A time-axis label of whole seconds: "1:05", from an hour on "1:02:05".
QString axisLabel(int seconds);

} // namespace TimeText
