#pragma once

// How the window writes a time.

#include <QString>

namespace TimeText {

// The transport and the hover read-out: "%d:%04.1f" of the whole minutes
// and the remainder, so that 59.97 s reads 0:60.0 (the minutes come from the
// whole seconds before the remainder is rounded). Negative times read 0:00.0.
QString playhead(double seconds);

// A time-axis label of whole seconds: "1:05".
QString axisLabel(int seconds);

} // namespace TimeText
