#pragma once

// A measurement in a few kilobytes, whatever the file's length: the figures
// exactly, the drawing envelope and the loudness curve quantised to 16 bits,
// the curve thinned to at most `maxCurvePoints` of its own points (every
// k-th one, so each kept point is a true 3-second loudness). What the
// analysis cache keeps of a file.

#include "analysis/AnalysisResult.h"

#include <QByteArray>
#include <cstddef>
#include <optional>

namespace AnalysisPacking {

inline constexpr size_t maxCurvePoints = 4000;
// The curve's quantum is 1/100 LU.
inline constexpr double curveStepsPerLU = 100.0;

QByteArray pack(const AnalysisResult& result);
// None for bytes that `pack` did not write (another version, cut short).
std::optional<AnalysisResult> unpack(const QByteArray& bytes);

} // namespace AnalysisPacking
