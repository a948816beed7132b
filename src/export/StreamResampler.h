#pragma once

// Converts interleaved float frames from one rate to another as they stream
// through (libsoxr, very high quality). Allocates only when constructed.

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

struct soxr;

class StreamResampler {
public:
    // Throws a Failure when the converter cannot be made.
    StreamResampler(int64_t fromRate, int64_t toRate, int channels, int64_t maxInputFrames);
    ~StreamResampler();
    StreamResampler(const StreamResampler&) = delete;
    StreamResampler& operator=(const StreamResampler&) = delete;

    using Sink = std::function<void(const float* interleaved, int64_t frames)>;
    // Converts up to maxInputFrames frames and hands what comes out to `sink`.
    void process(const float* interleaved, int64_t frames, const Sink& sink);
    // Hands over what the converter still holds.
    void flush(const Sink& sink);

private:
    soxr* converter_ = nullptr;
    int channels_;
    std::vector<float> out_;
    size_t outFrames_;
};
