#include "analysis/AudioLoader.h"

#include "analysis/AnalysisErrors.h"
#include "analysis/SignalMeasurement.h"

#include <algorithm>
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

std::vector<float> allocateSamples(size_t count) {
    try {
        return std::vector<float>(count);
    } catch (const std::bad_alloc&) {
        throw AudioLoaderError(AudioLoaderError::Kind::bufferCreationFailed);
    }
}

int64_t readChunks(OpenedAudio& opened, int64_t limit, int64_t chunkFrames,
                   const ChunkConsumer& consume) {
    chunkFrames = std::max<int64_t>(chunkFrames, 1);
    std::vector<float> chunk =
        allocateSamples(static_cast<size_t>(chunkFrames * opened.file.channels()));
    int64_t read = 0;
    while (read < limit) {
        const int64_t got =
            opened.file.readInterleaved(chunk.data(), std::min(chunkFrames, limit - read));
        if (got <= 0) {
            break;
        }
        consume(chunk.data(), got);
        read += got;
    }
    return read;
}

int64_t readMonoChunks(OpenedAudio& opened, int64_t limit, int64_t chunkFrames,
                       const ChunkConsumer& consume) {
    const int channels = opened.file.channels();
    if (channels == 1) {
        return readChunks(opened, limit, chunkFrames, consume);
    }
    std::vector<float> mono =
        allocateSamples(static_cast<size_t>(std::max<int64_t>(chunkFrames, 1)));
    return readChunks(opened, limit, chunkFrames, [&](const float* samples, int64_t frames) {
        if (opened.firstChannelOnly) {
            for (int64_t f = 0; f < frames; ++f) {
                mono[static_cast<size_t>(f)] = samples[f * channels];
            }
        } else {
            downmixInterleaved(samples, frames, channels, mono.data());
        }
        consume(mono.data(), frames);
    });
}

DecodedAudio loadRaw(const QString& path) {
    OpenedAudio opened = open(path);
    const int channels = opened.file.channels();
    const int kept = opened.firstChannelOnly ? 1 : channels;
    DecodedAudio audio;
    audio.sampleRate = opened.file.sampleRate();
    try {
        audio.channels.assign(static_cast<size_t>(kept), {});
        for (auto& channel : audio.channels) {
            channel.reserve(static_cast<size_t>(opened.file.frames()));
        }
    } catch (const std::bad_alloc&) {
        throw AudioLoaderError(AudioLoaderError::Kind::bufferCreationFailed);
    }
    readChunks(opened, opened.file.frames(), readChunkFrames,
               [&](const float* samples, int64_t frames) {
                   for (int c = 0; c < kept; ++c) {
                       auto& channel = audio.channels[static_cast<size_t>(c)];
                       for (int64_t f = 0; f < frames; ++f) {
                           channel.push_back(samples[f * channels + c]);
                       }
                   }
               });
    return audio;
}

MonoAudio loadMono(const QString& path) {
    OpenedAudio opened = open(path);
    MonoAudio mono;
    mono.sampleRate = opened.file.sampleRate();
    try {
        mono.samples.reserve(static_cast<size_t>(opened.file.frames()));
    } catch (const std::bad_alloc&) {
        throw AudioLoaderError(AudioLoaderError::Kind::bufferCreationFailed);
    }
    readMonoChunks(opened, opened.file.frames(), readChunkFrames,
                   [&](const float* samples, int64_t frames) {
                       mono.samples.insert(mono.samples.end(), samples, samples + frames);
                   });
    if (mono.samples.empty()) {
        throw AudioLoaderError(AudioLoaderError::Kind::emptyFile);
    }
    return mono;
}

} // namespace AudioLoader
