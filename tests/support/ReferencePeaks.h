#pragma once

#include <QString>
#include <tuple>

namespace fixtures {

// The true peak libebur128 finds in a decoded file (dBTP, every channel), its
// largest sample and its integrated loudness.
std::tuple<double, float, double> referencePeaks(const QString& path);

// The integrated loudness libebur128 finds in [fromSec, toSec) of a decoded file.
double referenceLoudness(const QString& path, double fromSec, double toSec);

} // namespace fixtures
