#pragma once

#include <QString>

// A duration, or a position in a file, as the reader's errors and the
// command line's report write it: tenths rounded first, so 59.96 s reads
// 1:00.0, and hours once there are any ("1:02:05.0"). Negative and
// non-finite times read 0:00.0.
QString durationText(double seconds);
