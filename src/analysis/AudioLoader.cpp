#include "analysis/AudioLoader.h"

#include "analysis/AnalysisErrors.h"
#include "analysis/SignalMeasurement.h"
#include "io/NativePath.h"
#include "io/RegularFile.h"

#include <QFileInfo>
#include <algorithm>
#include <limits>
#include <new>

namespace AudioLoader {

namespace {

OpenedAudio checked(OpenedAudio opened) {
    // The reader states no length it cannot know (a damaged header's is 0).
    const int64_t frames = opened.reader.frames();
    if (frames > maxFrames) {
        throw AudioLoaderError(AudioLoaderError::Kind::tooLong, QString::number(frames));
    }
    return opened;
}

} // namespace

AudioLoaderError readError(const DescribedError& e) {
    return AudioLoaderError(AudioLoaderError::Kind::readFailed, e.description());
}

OpenedAudio open(const QString& path, AudioReader::Damage damage, int maxChannels) {
    try {
        return checked(OpenedAudio{nullptr, AudioReader(path, damage, maxChannels)});
    } catch (const NoAudioError&) {
        throw AudioLoaderError(AudioLoaderError::Kind::noAudio, NativePath::shownName(path));
    } catch (const NotAFileError& e) {
        throw readError(e); // nothing ffmpeg could read either
    } catch (const ImplausibleSamplesError& e) {
        throw readError(e); // ffmpeg would decode the same samples
    } catch (const FileError&) {
        // Whatever the reader's reason was, ffmpeg gets its turn; its errors
        // are the ones the caller sees.
    }
    auto decoded = std::make_unique<FFmpegDecodedFile>(path);
    try {
        AudioReader reader(decoded->path(), damage, maxChannels);
        return checked(OpenedAudio{std::move(decoded), std::move(reader)});
    } catch (const FileError& e) {
        throw readError(e);
    }
}

std::vector<float> allocateSamples(size_t count) {
    try {
        return std::vector<float>(count);
    } catch (const std::bad_alloc&) {
        throw AudioLoaderError(AudioLoaderError::Kind::bufferCreationFailed);
    }
}

int64_t readChunk(OpenedAudio& opened, float* interleaved, int64_t frames) {
    try {
        return std::max<int64_t>(opened.reader.readInterleaved(interleaved, frames), 0);
    } catch (const FileError& e) {
        throw readError(e);
    }
}

int64_t readChunks(OpenedAudio& opened, int64_t limit, int64_t chunkFrames, const ChunkConsumer& consume) {
    chunkFrames = std::max<int64_t>(chunkFrames, 1);
    std::vector<float> chunk = allocateSamples(static_cast<size_t>(chunkFrames * opened.reader.channels()));
    int64_t read = 0;
    while (read < limit) {
        const int64_t got = readChunk(opened, chunk.data(), std::min(chunkFrames, limit - read));
        if (got == 0) {
            break;
        }
        consume(chunk.data(), got);
        read += got;
    }
    return read;
}

} // namespace AudioLoader
