#include "playback/PortAudioOutput.h"

#include <cstdio>
#include <fcntl.h>
#include <portaudio.h>
#include <unistd.h>

namespace {

// Sends file descriptor 2 to /dev/null while `work` runs: ALSA and JACK
// print their complaints there directly, not through PortAudio.
template <typename Work> auto withQuietStderr(Work work) {
    std::fflush(stderr);
    const int saved = dup(STDERR_FILENO);
    const int null = ::open("/dev/null", O_WRONLY);
    if (null >= 0) {
        dup2(null, STDERR_FILENO);
        ::close(null);
    }
    auto result = work();
    std::fflush(stderr);
    if (saved >= 0) {
        dup2(saved, STDERR_FILENO);
        ::close(saved);
    }
    return result;
}

int paCallback(const void*, void* output, unsigned long frames, const PaStreamCallbackTimeInfo*, PaStreamCallbackFlags,
               void* user) {
    static_cast<AudioCallback*>(user)->render(static_cast<float*>(output), static_cast<int64_t>(frames));
    return paContinue;
}

} // namespace

namespace PortAudioSession {

bool acquire() {
    return withQuietStderr([] { return Pa_Initialize() == paNoError; });
}

void release() { Pa_Terminate(); }

} // namespace PortAudioSession

PortAudioOutput::PortAudioOutput() : initialized_(PortAudioSession::acquire()) {
    if (initialized_ && Pa_GetDefaultOutputDevice() == paNoDevice && Pa_GetDeviceCount() <= 0) {
        PortAudioSession::release();
        initialized_ = false;
    }
}

PortAudioOutput::~PortAudioOutput() {
    close();
    if (initialized_)
        PortAudioSession::release();
}

std::optional<int64_t> PortAudioOutput::open(int64_t sampleRate, AudioCallback* callback) {
    close();
    if (!initialized_)
        return std::nullopt;
    const PaDeviceIndex device = device_ >= 0 && device_ < Pa_GetDeviceCount() ? device_ : Pa_GetDefaultOutputDevice();
    const PaDeviceInfo* info = device == paNoDevice ? nullptr : Pa_GetDeviceInfo(device);
    if (!info || info->maxOutputChannels < 1)
        return std::nullopt;
    PaStreamParameters params{};
    params.device = device;
    params.channelCount = channels;
    params.sampleFormat = paFloat32;
    params.suggestedLatency = info->defaultLowOutputLatency;
    // The file's rate when the device takes it, else the device's own.
    double rate = static_cast<double>(sampleRate);
    if (withQuietStderr([&] { return Pa_IsFormatSupported(nullptr, &params, rate); }) != paFormatIsSupported)
        rate = info->defaultSampleRate;
    PaStream* stream = nullptr;
    const PaError opened = withQuietStderr([&] {
        return Pa_OpenStream(&stream, nullptr, &params, rate, paFramesPerBufferUnspecified, paNoFlag, paCallback,
                             callback);
    });
    if (opened != paNoError || Pa_StartStream(stream) != paNoError) {
        if (stream)
            Pa_CloseStream(stream);
        return std::nullopt;
    }
    stream_ = stream;
    rate_ = static_cast<int64_t>(rate);
    return rate_;
}

void PortAudioOutput::close() {
    if (stream_) {
        Pa_StopStream(static_cast<PaStream*>(stream_)); // waits for the callback to return
        Pa_CloseStream(static_cast<PaStream*>(stream_));
        stream_ = nullptr;
    }
    rate_.reset();
}
