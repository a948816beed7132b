#pragma once

// Which of a file's figures its correction aims at the target: the gated
// loudness of its loudest 20 seconds, or its integrated loudness, the figure
// streaming services and broadcasters normalize by.

#include "analysis/ChoiceNames.h"

enum class NormalizeBy { loudest, integrated };

// "loudest" and "integrated".
inline constexpr ChoiceNames<NormalizeBy, 2> normalizeByNames{
    {{{NormalizeBy::loudest, "loudest"}, {NormalizeBy::integrated, "integrated"}}}};
