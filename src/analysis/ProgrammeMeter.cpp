#include "analysis/ProgrammeMeter.h"

#include "analysis/LoudnessAnalyzer.h"
#include "analysis/SignalMeasurement.h"

#include <algorithm>
#include <cmath>

ProgrammeMeter::ProgrammeMeter(int64_t sampleRate, ChannelWeighting weighting, int64_t expectedFrames, bool truePeak)
    : sampleRate_(sampleRate), channels_(std::max(weighting.channels(), 1)),
      channelEnergy_(sampleRate, std::move(weighting)), energy_(EnergyPrefix::strideFor(sampleRate), expectedFrames) {
    if (truePeak)
        truePeak_.emplace(channels_);
}

void ProgrammeMeter::add(const float* interleaved, int64_t frames) {
    samplePeak_ = std::max(samplePeak_, largestMagnitude(interleaved, frames * channels_));
    energy_.add(frames, [&](int64_t offset, int64_t n, double sum) {
        return channelEnergy_.accumulate(interleaved + offset * channels_, nullptr, n, sum);
    });
    if (truePeak_)
        truePeak_->add(interleaved, frames);
    frames_ += frames;
}

ProgrammeFigures ProgrammeMeter::finish() {
    ProgrammeFigures figures;
    figures.frames = frames_;
    figures.samplePeakDBFS = TruePeak::toDB(samplePeak_);
    if (truePeak_)
        figures.truePeakDBTP = truePeak_->finishDBTP();
    if (frames_ > 0) {
        const EnergyPrefix energy = energy_.take();
        figures.loudnessLUFS = LoudnessAnalyzer::loudestFigure(energy, sampleRate_, frames_).loudest20sLUFS;
        figures.integratedLUFS = LoudnessAnalyzer::gatedLoudness(energy, 0, frames_, sampleRate_);
    }
    return figures;
}
