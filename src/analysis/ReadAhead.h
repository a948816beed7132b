#pragma once

// Decoding and measuring side by side: a thread of its own decodes the file
// and down-mixes it to one channel as well, a few chunks ahead of the caller,
// which consumes them in order on its own thread. A file then costs about
// the slower of the two instead of their sum.

#include "analysis/AudioLoader.h"

namespace AudioLoader {

// Reads the whole of `opened` in chunks of at most `chunkFrames` frames and
// hands each, interleaved and down-mixed (downmixInterleaved), to `consume`
// on the calling thread. Returns the frames read. Throws what the reading
// threw or what `consume` threw; the decoding thread has
// always finished when it returns or throws.
using MixedChunkConsumer = std::function<void(const float* interleaved, const float* mono, int64_t frames)>;
int64_t readAhead(OpenedAudio& opened, int64_t chunkFrames, const MixedChunkConsumer& consume);

} // namespace AudioLoader
