#pragma once

// The made-up two-minute song that the introduction's miniature waveform
// shows: a 400-bucket envelope and an 80-point loudness curve from a fixed
// sum of sines, with its loudest point and the 20-second window it decides.

#include "analysis/AnalysisResult.h"

namespace MockWaveform {

inline constexpr int bucketCount = 400;
inline constexpr int curvePoints = 80;
inline constexpr double duration = 120.0;

// The one shared instance, built on first use.
const AnalysisResult& shared();
// Builds it afresh (the shared instance is this, once).
AnalysisResult make();

} // namespace MockWaveform
