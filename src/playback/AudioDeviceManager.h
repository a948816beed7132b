#pragma once

// The output devices the user can choose from.

#include <QString>
#include <cstdint>
#include <vector>

struct AudioDevice {
    // The backend's device index plus one, so that 0 stays free for the
    // picker's "System Default".
    uint32_t id = 0;
    QString name;
    int channels = 0;        // output channels, at least 1 in a listed device
    double sampleRate = 0.0; // the device's default rate; 0 when unknown

    friend bool operator==(const AudioDevice&, const AudioDevice&) = default;

    int deviceIndex() const { return static_cast<int>(id) - 1; }
    // "Speakers (2ch)"
    QString label() const { return QStringLiteral("%1 (%2ch)").arg(name).arg(channels); }
};

namespace AudioDeviceManager {

inline constexpr uint32_t systemDefaultID = 0;

// Every device with at least one output channel, in the backend's order.
std::vector<AudioDevice> outputDevices();

} // namespace AudioDeviceManager
