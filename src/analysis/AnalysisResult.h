#pragma once

#include "analysis/ChannelMix.h"
#include "analysis/NormalizeBy.h"
#include "io/SourceEncoding.h"

#include <QString>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

// Min/max drawing envelope of the unfiltered mono samples.
struct WaveformEnvelope {
    std::vector<float> minValues;
    std::vector<float> maxValues;
    int64_t bucketCount = 0;

    bool operator==(const WaveformEnvelope&) const = default;
};

// A stretch of a file, in seconds.
struct TimeRange {
    double start = 0.0;
    double end = 0.0;

    bool operator==(const TimeRange&) const = default;
};

// What every loudness meter shows of a whole file, on the analysis's channel
// mix: -70 stands for silence, as everywhere.
struct MeterFigures {
    double integratedLUFS = -70.0;
    // EBU Tech 3342: the spread of the gated 3-second loudness, 10th to 95th percentile.
    double loudnessRangeLU = 0.0;
    double maxMomentaryLUFS = -70.0; // 400 ms windows every 100 ms
    double maxShortTermLUFS = -70.0; // 3 s windows every 100 ms
    bool operator==(const MeterFigures&) const = default;
};

// The 400 ms blocks (every 100 ms) of a file that pass the absolute gate,
// counted by loudness in steps of `stepLU`: what gates several files as one
// programme, as an album's integrated loudness does. Bin k holds blocks from
// -70 + k·step up to the next bin; blocks past the top bin count in it.
struct GatingHistogram {
    static constexpr double stepLU = 0.1;
    static constexpr int bins = 1000; // up to +30 LUFS
    int firstBin = 0;
    std::vector<uint32_t> counts; // from firstBin to the last bin holding any

    bool operator==(const GatingHistogram&) const = default;
};

// One file's measurement, fixed once analysis ends. It keeps a few numbers
// per second of audio (the curve) and a fixed-size envelope, never samples.
struct AnalysisResult {
    // The window of the loudness curve, whose points lie every 100 ms.
    static constexpr double curveWindowSec = 3.0;

    WaveformEnvelope envelope;
    int64_t sampleRate = 0;
    int channels = 1;
    ChannelMix channelMix = ChannelMix::sum; // the mix it was measured on
    std::vector<double> times;
    std::vector<double> loudnessCurve;
    double windowStart = 0.0;
    double windowEnd = 0.0;
    double loudest20sLUFS = -70.0;
    double peakDBFS = -120.0;     // the largest sample of any channel
    double truePeakDBTP = -120.0; // of any channel, oversampled four times
    MeterFigures figures;
    GatingHistogram gatingBlocks;
    SourceEncoding source; // unknown for a file only the ffmpeg program decodes
    // The album tags it was grouped by in album mode (empty: none, or a file
    // only the ffmpeg program decodes).
    QString album;
    QString albumArtist;
    // The loudness tags it carried when measured, as the table names them:
    // "ReplayGain track -3.21 dB, album -2.80 dB", "R128 track -2.00 dB".
    QString loudnessTags;
    // The figure a correction by `by` aims at the target.
    double figureLUFS(NormalizeBy by) const {
        return by == NormalizeBy::integrated ? figures.integratedLUFS : loudest20sLUFS;
    }
    // Every block under the absolute gate: such a file is given no gain.
    bool isSilent() const { return loudest20sLUFS <= -70.0; }
    double duration = 0.0;
    // Samples that were not numbers and were measured as silence.
    int64_t nonFiniteSamples = 0;

    bool operator==(const AnalysisResult&) const = default;

    // Stretches of at least 10 s whose curve stays more than 12 dB below
    // `loudest20sLUFS`, in ascending order. Computed on every call.
    std::vector<TimeRange> softPassageRanges() const;
    // The warning the file's row and report show, when there is one: "3
    // samples were not numbers and were treated as silence".
    std::optional<QString> warning() const;
};
