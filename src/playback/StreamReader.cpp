#include "playback/StreamReader.h"

#include "io/Error.h"

#include <algorithm>
#include <chrono>
#include <soxr.h>
#include <vector>

// The file being read, where, and the converter when the rates differ.
struct StreamReader::Stream {
    std::shared_ptr<AudioReader> file;
    uint64_t epoch = 0;
    int64_t outputRate = 0;
    int64_t nextOutputFrame = 0;
    bool ended = false;
    bool sourceDone = false; // converter: all input given, flushing
    soxr_t converter = nullptr;
    std::vector<float> raw;    // interleaved as in the file
    std::vector<float> stereo; // input waiting for the converter
    size_t stereoOffset = 0;   // frames of `stereo` already consumed

    ~Stream() {
        if (converter)
            soxr_delete(converter);
    }

    bool resampling() const { return converter != nullptr; }

    // Reads up to `frames` source frames as stereo into `out`; 0 at the end.
    int64_t readStereo(float* out, int64_t frames) {
        const int ch = file->channels();
        raw.resize(static_cast<size_t>(frames * ch));
        int64_t got = 0;
        try {
            got = file->readInterleaved(raw.data(), frames);
        } catch (const Failure&) {
            got = 0; // a read error ends the file here
        }
        for (int64_t i = 0; i < got; ++i) {
            const float* in = raw.data() + i * ch;
            out[2 * i] = in[0];
            out[2 * i + 1] = ch > 1 ? in[1] : in[0];
        }
        return got;
    }

    // Fills `chunk` for the current epoch; false when nothing could be added.
    void fill(ChunkRing::Chunk& chunk) {
        chunk.epoch = epoch;
        chunk.firstFrame = nextOutputFrame;
        chunk.last = false;
        int64_t filled = 0;
        if (!resampling()) {
            filled = readStereo(chunk.samples.data(), ChunkRing::chunkFrames);
            ended = filled < ChunkRing::chunkFrames;
        } else {
            while (filled < ChunkRing::chunkFrames && !ended) {
                if (!sourceDone && stereoOffset * 2 >= stereo.size()) {
                    stereo.resize(512 * 2);
                    const int64_t got = readStereo(stereo.data(), 512);
                    stereo.resize(static_cast<size_t>(got * 2));
                    stereoOffset = 0;
                    sourceDone = got == 0;
                }
                size_t used = 0, produced = 0;
                const size_t available = sourceDone ? 0 : stereo.size() / 2 - stereoOffset;
                const float* in = sourceDone ? nullptr : stereo.data() + stereoOffset * 2;
                if (soxr_process(converter, in, available, &used, chunk.samples.data() + filled * 2,
                                 static_cast<size_t>(ChunkRing::chunkFrames - filled), &produced)) {
                    ended = true; // a converter error ends the stream here
                    break;
                }
                stereoOffset += used;
                filled += static_cast<int64_t>(produced);
                if (sourceDone && produced == 0)
                    ended = true;
            }
        }
        chunk.frames = filled;
        chunk.last = ended;
        nextOutputFrame += filled;
    }

    void reposition(uint64_t newEpoch, int64_t startFrame) {
        epoch = newEpoch;
        ended = !file->seek(std::clamp<int64_t>(startFrame, 0, file->frames()));
        sourceDone = false;
        stereo.clear();
        stereoOffset = 0;
        if (converter)
            soxr_clear(converter);
        nextOutputFrame = startFrame * outputRate / std::max<int64_t>(1, file->sampleRate());
    }
};

StreamReader::StreamReader(ChunkRing& ring) : ring_(ring), thread_([this] { run(); }) {}

StreamReader::~StreamReader() {
    {
        std::lock_guard lock(mutex_);
        quit_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void StreamReader::post(Command command) {
    {
        std::lock_guard lock(mutex_);
        pending_ = std::move(command);
    }
    wake_.notify_all();
}

void StreamReader::start(std::shared_ptr<AudioReader> file, uint64_t epoch, int64_t startFrame, int64_t outputRate) {
    post(Command{std::move(file), false, epoch, startFrame, outputRate});
}

void StreamReader::stop() { post(Command{nullptr, true, 0, 0, 0}); }

void StreamReader::run() {
    std::unique_ptr<Stream> stream;
    for (;;) {
        std::optional<Command> command;
        {
            std::unique_lock lock(mutex_);
            if (quit_)
                return;
            command.swap(pending_);
        }
        if (command) {
            if (command->stop) {
                stream.reset();
            } else if (command->file) {
                stream = std::make_unique<Stream>();
                stream->file = std::move(command->file);
                stream->outputRate = command->outputRate;
                const int64_t sourceRate = stream->file->sampleRate();
                if (sourceRate != command->outputRate) {
                    soxr_error_t error = nullptr;
                    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
                    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
                    stream->converter =
                        soxr_create(static_cast<double>(sourceRate), static_cast<double>(command->outputRate), 2,
                                    &error, &io, &quality, nullptr);
                    if (error)
                        stream.reset();
                }
                if (stream)
                    stream->reposition(command->epoch, command->startFrame);
            }
        }
        bool wrote = false;
        if (stream && !stream->ended) {
            if (ChunkRing::Chunk* chunk = ring_.beginWrite()) {
                stream->fill(*chunk);
                const bool last = chunk->last;
                const int64_t end = chunk->firstFrame + chunk->frames;
                ring_.commitWrite();
                queuedEnd_.store(end, std::memory_order_relaxed);
                queuedEpoch_.store(stream->epoch, std::memory_order_release);
                if (last)
                    readToEndEpoch_.store(stream->epoch);
                wrote = true;
            }
        }
        if (!wrote) {
            // A stream with room to come polls the ring (the callback never
            // signals); without one, nothing wakes until the next command.
            std::unique_lock lock(mutex_);
            const auto ready = [this] { return quit_ || pending_.has_value(); };
            if (stream && !stream->ended)
                wake_.wait_for(lock, std::chrono::milliseconds(2), ready);
            else
                wake_.wait(lock, ready);
        }
    }
}
