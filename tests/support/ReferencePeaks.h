#pragma once

#include <QString>
#include <tuple>

namespace fixtures {

// The true peak libebur128 finds in a decoded file (dBTP, every channel), its
// largest sample and its integrated loudness.
std::tuple<double, float, double> referencePeaks(const QString& path);

} // namespace fixtures
