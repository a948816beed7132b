#include "analysis/AudioLoader.h"

#include "analysis/AnalysisErrors.h"

#include <new>

namespace AudioLoader {

namespace {

constexpr int64_t readChunkFrames = 65536;

void checkOpened(const SoundFile& file) {
    if (!file.isOpen()) {
        throw AudioLoaderError(AudioLoaderError::Kind::readFailed,
                               file.openError().toUtf8().toStdString());
    }
    if (file.frames() < 0 || file.frames() > maxFrames) {
        throw AudioLoaderError(AudioLoaderError::Kind::tooLong, std::to_string(file.frames()));
    }
    if (file.sampleRate() <= 0 || file.channels() <= 0) {
        throw AudioLoaderError(AudioLoaderError::Kind::readFailed, "invalid audio format");
    }
}

} // namespace

OpenedAudio open(const QString& path) {
    OpenedAudio opened{nullptr, SoundFile(path), false};
    if (!opened.file.isOpen()) {
        // Whatever libsndfile's reason was, ffmpeg gets its turn; its errors
        // are the ones the caller sees.
        opened.decoded = std::make_unique<FFmpegDecodedFile>(path);
        opened.file = SoundFile(opened.decoded->path());
        opened.firstChannelOnly = true;
    }
    checkOpened(opened.file);
    return opened;
}

DecodedAudio loadRaw(const QString& path) {
    OpenedAudio opened = open(path);
    SoundFile& file = opened.file;
    const int channels = file.channels();
    const int kept = opened.firstChannelOnly ? 1 : channels;

    DecodedAudio audio;
    audio.sampleRate = file.sampleRate();
    std::vector<float> chunk;
    try {
        audio.channels.assign(static_cast<size_t>(kept), {});
        for (auto& channel : audio.channels) {
            channel.reserve(static_cast<size_t>(file.frames()));
        }
        chunk.resize(static_cast<size_t>(readChunkFrames * channels));
    } catch (const std::bad_alloc&) {
        throw AudioLoaderError(AudioLoaderError::Kind::bufferCreationFailed);
    }

    int64_t remaining = file.frames();
    while (remaining > 0) {
        const int64_t got =
            file.readInterleaved(chunk.data(), std::min(remaining, readChunkFrames));
        if (got <= 0) {
            break;
        }
        for (int c = 0; c < kept; ++c) {
            auto& channel = audio.channels[static_cast<size_t>(c)];
            for (int64_t f = 0; f < got; ++f) {
                channel.push_back(chunk[static_cast<size_t>(f * channels + c)]);
            }
        }
        remaining -= got;
    }
    return audio;
}

MonoAudio loadMono(const QString& path) {
    DecodedAudio raw = loadRaw(path);
    if (raw.channels.empty() || raw.channels.front().empty()) {
        throw AudioLoaderError(AudioLoaderError::Kind::emptyFile);
    }
    MonoAudio mono{std::move(raw.channels.front()), raw.sampleRate};
    const size_t count = raw.channels.size();
    if (count == 1) {
        return mono;
    }
    // Running sum in channel order, then the float value of 1.0 / C.
    std::vector<float>& sum = mono.samples;
    for (size_t c = 1; c < count; ++c) {
        const std::vector<float>& channel = raw.channels[c];
        for (size_t i = 0; i < sum.size(); ++i) {
            sum[i] = sum[i] + channel[i];
        }
    }
    const float scale = static_cast<float>(1.0 / static_cast<double>(count));
    for (float& s : sum) {
        s = s * scale;
    }
    return mono;
}

} // namespace AudioLoader
