#pragma once

// The highest true peak an export may reach, in dBTP: the default and the
// range the window, the settings file and the command line accept.
namespace CeilingRange {
inline constexpr double defaultDBTP = -1.0;
inline constexpr double highestDBTP = -0.1;
inline constexpr double lowestDBTP = -6.0;
} // namespace CeilingRange
