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

void ChannelEnergy::process(const float* interleaved, const float* mono, int64_t frames, float* energy) {
    const int channels = weighting_.channels();
    if (weighting_.mix == ChannelMix::average || channels <= 1) {
        if (!mono && channels > 1) {
            if (channel_.size() < static_cast<size_t>(frames))
                channel_.resize(static_cast<size_t>(frames));
            downmixInterleaved(interleaved, frames, channels, channel_.data());
        }
        filters_.front().process(mono ? mono : channels > 1 ? channel_.data() : interleaved, energy, frames);
        // The classic figure weighs its one channel 1.0 whatever it carries.
        const float weight = channels == 1 && weighting_.mix == ChannelMix::sum ? weighting_.weights.front() : 1.0f;
        for (int64_t i = 0; i < frames; ++i)
            energy[i] = energy[i] * energy[i] * weight; // squared in 32-bit float
        return;
    }
    if (channels == 2) {
        // Stereo, the common case, both chains at once; the same sums as below.
        const float left = weighting_.weights[0], right = weighting_.weights[1];
        KWeightingFilter::processStereo(filters_.data(), interleaved, frames,
                                        [&](int64_t n, const std::array<float, 2>& y) {
                                            energy[n] = left * (y[0] * y[0]) + right * (y[1] * y[1]);
                                        });
        return;
    }
    if (channel_.size() < static_cast<size_t>(frames))
        channel_.resize(static_cast<size_t>(frames));
    float* y = channel_.data();
    std::fill(energy, energy + frames, 0.0f);
    for (int c = 0; c < channels; ++c) {
        const float weight = weighting_.weights[static_cast<size_t>(c)];
        if (weight == 0.0f)
            continue;
        for (int64_t i = 0; i < frames; ++i)
            y[i] = interleaved[i * channels + c];
        filters_[static_cast<size_t>(c)].process(y, y, frames);
        for (int64_t i = 0; i < frames; ++i)
            energy[i] += weight * (y[i] * y[i]);
    }
}
