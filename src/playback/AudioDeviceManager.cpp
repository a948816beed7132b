#include "playback/AudioDeviceManager.h"

#include "playback/PortAudioOutput.h"

#include <portaudio.h>

namespace AudioDeviceManager {

std::vector<AudioDevice> outputDevices() {
    std::vector<AudioDevice> devices;
    if (!PortAudioSession::acquire())
        return devices;
    const PaDeviceIndex count = Pa_GetDeviceCount();
    for (PaDeviceIndex i = 0; i < count; ++i) {
        const PaDeviceInfo* info = Pa_GetDeviceInfo(i);
        if (!info || info->maxOutputChannels < 1)
            continue;
        devices.push_back({static_cast<uint32_t>(i) + 1, QString::fromUtf8(info->name ? info->name : ""),
                           info->maxOutputChannels, info->defaultSampleRate});
    }
    PortAudioSession::release();
    return devices;
}

} // namespace AudioDeviceManager
