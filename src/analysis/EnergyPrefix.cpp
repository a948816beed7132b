#include "analysis/EnergyPrefix.h"

#include "analysis/LoudnessAnalyzer.h"

#include <algorithm>
#include <cassert>
#include <numeric>

namespace {

int64_t gcdOf(std::initializer_list<int64_t> lengths) {
    int64_t g = 0;
    for (int64_t length : lengths)
        g = length > 0 ? std::gcd(g, length) : g;
    return std::max<int64_t>(g, 1);
}

} // namespace

int64_t EnergyPrefix::strideFor(int64_t sampleRate) {
    using namespace LoudnessAnalyzer;
    // The same integer lengths the measurement uses, so that the stride holds
    // exactly whatever rounding they took.
    return gcdOf({gatedBlockSamples(sampleRate), gatedHopSamples(sampleRate), loudestWindowSamples(sampleRate),
                  loudestHopSamples(sampleRate), curveWindowSamples(sampleRate)});
}

double EnergyPrefix::sumAt(int64_t sample) const {
    assert(holds(sample));
    return sample == total_ ? totalSum_ : sums_[static_cast<size_t>(sample / stride_)];
}

EnergyPrefix::Accumulator::Accumulator(int64_t stride, int64_t expectedSamples)
    : stride_(std::max<int64_t>(stride, 1)) {
    sums_.reserve(static_cast<size_t>(std::max<int64_t>(expectedSamples, 0) / stride_ + 1));
    sums_.push_back(0.0);
}

EnergyPrefix EnergyPrefix::Accumulator::take() {
    EnergyPrefix prefix;
    prefix.stride_ = stride_;
    prefix.total_ = position_;
    prefix.totalSum_ = sum_;
    // The sum at the total is kept on its own; a last multiple equal to it stays too.
    sums_.shrink_to_fit();
    prefix.sums_ = std::move(sums_);
    return prefix;
}
