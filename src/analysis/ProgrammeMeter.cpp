#include "analysis/ProgrammeMeter.h"

#include "analysis/LoudnessAnalyzer.h"

#include <algorithm>
#include <cmath>

ProgrammeMeter::ProgrammeMeter(int64_t sampleRate, ChannelWeighting weighting, int64_t expectedFrames, bool truePeak)
    : sampleRate_(sampleRate), channels_(std::max(weighting.channels(), 1)),
      channelEnergy_(sampleRate, std::move(weighting)), energy_(EnergyPrefix::strideFor(sampleRate), expectedFrames) {
    if (truePeak)
        truePeak_.emplace(channels_);
}

void ProgrammeMeter::add(const float* interleaved, int64_t frames) {
    constexpr int64_t block = 4096;
    squares_.resize(static_cast<size_t>(std::min(frames, block)));
    for (int64_t done = 0; done < frames; done += block) {
        const int64_t n = std::min(block, frames - done);
        const float* from = interleaved + done * channels_;
        for (int64_t i = 0; i < n * channels_; ++i)
            samplePeak_ = std::max(samplePeak_, std::abs(from[i]));
        channelEnergy_.process(from, nullptr, n, squares_.data());
        energy_.add(squares_.data(), n);
    }
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
        figures.loudnessLUFS = LoudnessAnalyzer::loudestFigure(energy, sampleRate_, frames_).peakLUFS;
        figures.integratedLUFS = LoudnessAnalyzer::gatedLoudness(energy, 0, frames_, sampleRate_);
    }
    return figures;
}
