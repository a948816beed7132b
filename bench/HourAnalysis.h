#pragma once

// A made-up analysis of a 60-minute file with the shape of a real one: 2000
// envelope buckets and a curve point every 0.1 s, with quiet stretches for
// the soft colour.

#include "analysis/AnalysisResult.h"

#include <cmath>
#include <random>

inline AnalysisResult hourLongAnalysis() {
    AnalysisResult r;
    r.duration = 3600.0;
    r.envelope.bucketCount = 2000;
    std::mt19937 rng(1);
    std::uniform_real_distribution<float> level(0.2f, 0.9f);
    for (int i = 0; i < 2000; ++i) {
        const float a = level(rng);
        r.envelope.maxValues.push_back(a);
        r.envelope.minValues.push_back(-a);
    }
    for (int i = 0; i < 36000; ++i) {
        const double t = 1.5 + i * 0.1;
        r.times.push_back(t);
        r.loudnessCurve.push_back(std::fmod(t, 600.0) < 60 ? -40.0 + std::sin(t) : -16.0 + 4 * std::sin(t / 7));
    }
    r.loudest20sLUFS = -12.0;
    r.windowStart = 1000.0;
    r.windowEnd = 1020.0;
    return r;
}
