#pragma once

// The loudness targets that streaming services and broadcasters publish:
// each a target, the figure it is measured by and a true-peak ceiling,
// chosen together. Custom is whatever the user set by hand.

#include "analysis/NormalizeBy.h"
#include "export/CeilingRange.h"

#include <QString>
#include <array>
#include <optional>

enum class TargetPreset { custom, spotify, youtube, tidal, apple, amazon, podcast, podcastMono, ebuR128, atscA85 };

struct TargetValues {
    double targetLUFS = -16.0;
    NormalizeBy normalizeBy = NormalizeBy::loudest;
    double ceilingDBTP = CeilingRange::defaultDBTP;

    friend bool operator==(const TargetValues&, const TargetValues&) = default;
};

// The values aimed at, and the preset they came from while they are its own.
struct Aim {
    TargetValues values;
    TargetPreset preset = TargetPreset::custom;
};

struct PresetRow {
    TargetPreset preset;
    const char* name;  // in settings files and on the command line
    const char* label; // in the window
    TargetValues values;
};

inline constexpr std::array<PresetRow, 9> presetRows{{
    {TargetPreset::spotify, "spotify", "Spotify", {-14.0, NormalizeBy::integrated, -1.0}},
    {TargetPreset::youtube, "youtube", "YouTube", {-14.0, NormalizeBy::integrated, -1.0}},
    {TargetPreset::tidal, "tidal", "Tidal", {-14.0, NormalizeBy::integrated, -1.0}},
    {TargetPreset::apple, "apple", "Apple Music", {-16.0, NormalizeBy::integrated, -1.0}},
    {TargetPreset::amazon, "amazon", "Amazon Music", {-14.0, NormalizeBy::integrated, -2.0}},
    {TargetPreset::podcast, "podcast", "Podcast (stereo)", {-16.0, NormalizeBy::integrated, -1.0}},
    {TargetPreset::podcastMono, "podcast-mono", "Podcast (mono)", {-19.0, NormalizeBy::integrated, -1.0}},
    {TargetPreset::ebuR128, "ebu-r128", "EBU R128 broadcast", {-23.0, NormalizeBy::integrated, -1.0}},
    {TargetPreset::atscA85, "atsc-a85", "ATSC A/85 broadcast", {-24.0, NormalizeBy::integrated, -2.0}},
}};

// The values a preset sets; none for Custom.
std::optional<TargetValues> presetValues(TargetPreset preset);
// `preset` while `values` are its own, else Custom.
TargetPreset presetHolding(TargetPreset preset, const TargetValues& values);
// "Spotify", ...; "Custom".
QString presetLabel(TargetPreset preset);
// "spotify", ..., and "custom".
QString presetName(TargetPreset preset);
std::optional<TargetPreset> presetNamed(const QString& name);
// "Spotify: -14 LUFS integrated, -1 dBTP"
QString presetDescription(TargetPreset preset);
// "spotify|youtube|...|atsc-a85" with "|" as the separator.
QString presetNameList(const QString& separator);
