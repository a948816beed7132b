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

OpenedAudio checked(OpenedAudio opened, const QString& path) {
    // The reader states no length it cannot know (a damaged header's is 0).
    const int64_t frames = opened.reader.frames();
    if (frames > maxFrames) {
        throw AnalysisErrors::tooLong(path, frames);
    }
    return opened;
}

} // namespace

OpenedAudio open(const QString& path, AudioReader::Damage damage, int maxChannels) {
    try {
        return checked(OpenedAudio{nullptr, AudioReader(path, damage, maxChannels)}, path);
    } catch (const Failure& e) {
        if (e.kind() == Error::Kind::noAudio)
            throw AnalysisErrors::noAudio(path);
        // A file that is none, samples ffmpeg would decode the same, a
        // length no buffer holds and a stop end here. For whatever else the
        // reader refused, ffmpeg gets its turn; its errors are the ones the
        // caller sees.
        if (e.kind() != Error::Kind::file && e.kind() != Error::Kind::damaged)
            throw;
    }
    auto decoded = std::make_unique<FFmpegDecodedFile>(path);
    AudioReader reader(decoded->path(), damage, maxChannels);
    return checked(OpenedAudio{std::move(decoded), std::move(reader)}, path);
}

std::vector<float> allocateSamples(size_t count) {
    try {
        return std::vector<float>(count);
    } catch (const std::bad_alloc&) {
        throw AnalysisErrors::noBuffer();
    }
}

int64_t readChunk(OpenedAudio& opened, float* interleaved, int64_t frames) {
    return std::max<int64_t>(opened.reader.readInterleaved(interleaved, frames), 0);
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
