#pragma once

// How a job's output reaches its final name, the same on both export paths:
// made on target when the limiter acts, given the source's tags, then
// renamed over the output name.

#include "export/ExportJob.h"
#include "io/TemporaryFile.h"

#include <QString>
#include <functional>

// What one job wrote.
struct ExportedFile {
    QString sourcePath;
    QString path;
    // The loudness its name states: the promised final loudness, or the one
    // it measured when the limiter's ceiling kept it from the promise.
    double loudnessLUFS = 0.0;
    bool offTarget = false;
};

namespace ExportDelivery {

// How close a limited output must measure to its promised loudness, and how
// often its gain before the limiter is raised to get there.
inline constexpr double toleranceLU = 0.2;
inline constexpr int maximumRaises = 2;

// Whether the limiter in the chain changes anything: the loudest sample,
// with every gain applied, passes its ceiling.
inline bool limiterActs(bool limiterInChain, double correctedPeakDBFS) {
    return limiterInChain && correctedPeakDBFS > limiterCeilingDBFS;
}

// Writes an output into a new temporary file, `extraGainDB` added before the
// limiter; throws on failure.
using Encode = std::function<TemporaryFile(double extraGainDB)>;

// Encodes `job` once; when the limiter acts, measures the output and, while it is
// further than the tolerance from its promise, encodes again with the gain
// raised by the shortfall (at most twice), keeping the closest. Then copies
// the source's tags into it and renames it to its final name. Throws what
// `encode`, the measurement or the rename throw.
ExportedFile deliver(const ExportJob& job, bool limiterActs, const Encode& encode);

} // namespace ExportDelivery
