#pragma once

// How a file's channels make one loudness. `sum`, as every BS.1770 meter
// reads it: each channel K-weighted on its own and the mean squares added
// with their weights (1.0 for left, right and centre, 1.41 for the
// surrounds, nothing for the low-frequency channel). `average`, the classic
// figure: the channels averaged into one, then K-weighted.
enum class ChannelMix { sum, average };

#include "analysis/ChoiceNames.h"

// "sum" and "average".
inline constexpr ChoiceNames<ChannelMix, 2> channelMixNames{
    {{{ChannelMix::sum, "sum"}, {ChannelMix::average, "average"}}}};
