#pragma once

#include <QString>
#include <QStringList>
#include <limits>
#include <tuple>

namespace fixtures {

// What libebur128 finds in [fromSec, toSec) of a decoded file: the true peak
// (dBTP, every channel), its largest sample and its integrated loudness.
std::tuple<double, float, double> referencePeaks(const QString& path, double fromSec = 0.0,
                                                 double toSec = std::numeric_limits<double>::infinity());

// What libebur128 finds for the files gated together as one programme.
double referenceIntegratedOfAll(const QStringList& paths);

} // namespace fixtures
