#pragma once

// Measures a signal streamed as interleaved frames with the analysis's own
// meter: its figure (the gated loudness of the loudest 20 seconds, on the
// same channel mix), its sample peak and its true peak over every channel.
// What it keeps grows by the prefix sums' few numbers a second.

#include "analysis/ChannelWeighting.h"
#include "analysis/EnergyPrefix.h"
#include "analysis/NormalizeBy.h"
#include "analysis/TruePeak.h"

#include <cstdint>
#include <optional>
#include <vector>

struct ProgrammeFigures {
    double loudnessLUFS = -70.0; // of the loudest 20 seconds
    double integratedLUFS = -70.0;
    double samplePeakDBFS = -120.0;
    double truePeakDBTP = -120.0;
    int64_t frames = 0;
    // Every 400 ms block lies under the absolute gate (or there is none).
    bool isSilent() const { return loudnessLUFS <= -70.0; }
    double figureLUFS(NormalizeBy by) const { return by == NormalizeBy::integrated ? integratedLUFS : loudnessLUFS; }
};

class ProgrammeMeter {
public:
    // Without `truePeak` the figures' true peak stays at -120, and the
    // meter costs a fraction of what it does with it.
    ProgrammeMeter(int64_t sampleRate, ChannelWeighting weighting, int64_t expectedFrames = 0, bool truePeak = true);
    void add(const float* interleaved, int64_t frames);
    ProgrammeFigures finish();

private:
    int64_t sampleRate_;
    int channels_;
    int64_t frames_ = 0;
    float samplePeak_ = 0.0f;
    ChannelEnergy channelEnergy_;
    EnergyPrefix::Accumulator energy_;
    std::optional<TruePeakMeter> truePeak_;
};
