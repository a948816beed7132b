#include "analysis/ChannelWeighting.h"

#include "analysis/SignalMeasurement.h"

#include <algorithm>

namespace {

constexpr float surroundWeight = 1.41f;

} // namespace

ChannelWeighting weightingFor(ChannelMix mix, const std::vector<AudioReader::ChannelRole>& roles) {
    using Role = AudioReader::ChannelRole;
    std::vector<Role> named = roles;
    const bool unnamed = std::all_of(roles.begin(), roles.end(), [](Role r) { return r == Role::unknown; });
    if (unnamed && roles.size() == 6)
        named = {Role::main, Role::main, Role::main, Role::lowFrequency, Role::surround, Role::surround};
    else if (unnamed && roles.size() == 5)
        named = {Role::main, Role::main, Role::main, Role::surround, Role::surround};
    ChannelWeighting weighting{mix, {}};
    for (Role role : named)
        weighting.weights.push_back(role == Role::lowFrequency ? 0.0f : role == Role::surround ? surroundWeight : 1.0f);
    return weighting;
}

ChannelEnergy::ChannelEnergy(int64_t sampleRate, ChannelWeighting weighting) : weighting_(std::move(weighting)) {
    const int filters = weighting_.mix == ChannelMix::average ? 1 : weighting_.channels();
    filters_.assign(static_cast<size_t>(std::max(filters, 1)), KWeightingFilter(sampleRate));
}

double ChannelEnergy::accumulate(const float* interleaved, const float* mono, int64_t frames, double sum) {
    const int channels = weighting_.channels();
    const std::vector<float>& weights = weighting_.weights;
    if (weighting_.mix == ChannelMix::average || channels <= 1) {
        if (channel_.size() < static_cast<size_t>(frames))
            channel_.resize(static_cast<size_t>(frames));
        float* y = channel_.data();
        if (!mono && channels > 1)
            downmixInterleaved(interleaved, frames, channels, y);
        filters_.front().process(mono ? mono : channels > 1 ? y : interleaved, y, frames);
        // The classic figure weighs its one channel 1.0 whatever it carries.
        const float weight = channels == 1 && weighting_.mix == ChannelMix::sum ? weights.front() : 1.0f;
        for (int64_t i = 0; i < frames; ++i)
            sum += static_cast<double>(y[i] * y[i] * weight); // squared in 32-bit float
        return sum;
    }
    if (channels == 2) {
        // Stereo, the common case: both chains at once, each frame's weighted
        // squares taken in 64 bits and summed as they come out.
        double total = sum; // a local the loop keeps in a register
        // The outputs come over the high-pass's gain (the same rate, the same
        // in both): its square goes into the weights.
        const double g = filters_[0].highPassGain();
        const KWeightingFilter::Stereo w = {weights[0] * g * g, weights[1] * g * g};
        KWeightingFilter::processStereo(filters_.data(), interleaved, frames, [&](KWeightingFilter::Stereo y) {
            const KWeightingFilter::Stereo squares = y * y * w;
            total += squares[0] + squares[1];
        });
        return total;
    }
    // Any other count, a channel at a time: its weighted squares are added
    // to each frame's energy in channel order, then the frames are summed.
    const auto count = static_cast<size_t>(frames);
    if (channel_.size() < count)
        channel_.resize(count);
    frameEnergy_.assign(count, 0.0);
    float* y = channel_.data();
    for (int c = 0; c < channels; ++c) {
        const auto weight = static_cast<double>(weights[static_cast<size_t>(c)]);
        if (weight == 0.0)
            continue;
        for (int64_t i = 0; i < frames; ++i)
            y[i] = interleaved[i * channels + c];
        filters_[static_cast<size_t>(c)].process(y, y, frames);
        for (size_t i = 0; i < count; ++i)
            frameEnergy_[i] += static_cast<double>(y[i]) * static_cast<double>(y[i]) * weight;
    }
    for (double energy : frameEnergy_)
        sum += energy;
    return sum;
}
