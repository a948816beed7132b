#pragma once

// Every way a time is written out, in one place.

#include <QString>

namespace TimeText {

// The transport and the hover read-out: "%d:%04.1f" of the whole minutes
// and the remainder, so that 59.97 s reads 0:60.0 (the minutes come from the
// whole seconds before the remainder is rounded). Negative times read 0:00.0.
QString playhead(double seconds);

// A time-axis label of whole seconds: "1:05".
QString axisLabel(int seconds);

// The command line's report: tenths rounded first, so 59.96 s reads 1:00.0,
// and hours once there are any ("1:02:05.0"). Negative and non-finite times
// read 0:00.0.
QString report(double seconds);

} // namespace TimeText
