#pragma once

// Reads what the waveform keeps private, for tests and benchmarks: how often
// it repainted its cached layer, and whether it shows the hover read-out.

#include "ui/WaveformView.h"

struct WaveformViewProbe {
    static int staticLayerPaints(const WaveformView& v) { return v.staticLayerPaints_; }
    static bool hasHoverReadOut(const WaveformView& v) { return v.hover_.has_value(); }
};
