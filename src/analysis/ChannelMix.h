#pragma once

// How a file's channels make one loudness. `sum`, as every BS.1770 meter
// reads it: each channel K-weighted on its own and the mean squares added
// with their weights (1.0 for left, right and centre, 1.41 for the
// surrounds, nothing for the low-frequency channel). `average`, the classic
// figure: the channels averaged into one, then K-weighted.
enum class ChannelMix { sum, average };

#include <QString>
#include <optional>

// "sum" and "average", as settings files and command lines name the mixes.
inline QString channelMixName(ChannelMix mix) {
    return mix == ChannelMix::sum ? QStringLiteral("sum") : QStringLiteral("average");
}
inline std::optional<ChannelMix> channelMixNamed(const QString& name) {
    if (name == channelMixName(ChannelMix::sum))
        return ChannelMix::sum;
    if (name == channelMixName(ChannelMix::average))
        return ChannelMix::average;
    return std::nullopt;
}
