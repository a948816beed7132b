#include "analysis/ProgrammeMeter.h"

#include "analysis/LoudnessAnalyzer.h"
#include "analysis/SignalMeasurement.h"

#include <algorithm>
#include <cmath>

ProgrammeMeter::ProgrammeMeter(int64_t sampleRate, int channels, int64_t expectedFrames, bool truePeak)
    : sampleRate_(sampleRate), channels_(channels), filter_(sampleRate),
      energy_(EnergyPrefix::strideFor(sampleRate), expectedFrames) {
    if (truePeak)
        truePeak_.emplace(channels);
}

void ProgrammeMeter::add(const float* interleaved, int64_t frames) {
    constexpr int64_t block = 4096;
    mono_.resize(static_cast<size_t>(std::min(frames, block)));
    for (int64_t done = 0; done < frames; done += block) {
        const int64_t n = std::min(block, frames - done);
        const float* from = interleaved + done * channels_;
        for (int64_t i = 0; i < n * channels_; ++i)
            samplePeak_ = std::max(samplePeak_, std::abs(from[i]));
        downmixInterleaved(from, n, channels_, mono_.data());
        filter_.process(mono_.data(), mono_.data(), n);
        for (int64_t i = 0; i < n; ++i)
            mono_[static_cast<size_t>(i)] *= mono_[static_cast<size_t>(i)]; // squared in 32-bit float, as analysed
        energy_.add(mono_.data(), n);
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
    }
    return figures;
}
