#pragma once

// Decoding and measuring side by side: a thread of its own decodes the file
// and down-mixes it to one channel, a few chunks ahead of the caller, which
// consumes them in order on its own thread. A file then costs about the
// slower of the two instead of their sum.

#include "analysis/AudioLoader.h"

namespace AudioLoader {

// Reads the whole of `opened` as mono chunks of at most `chunkFrames` frames
// and hands each to `consume` on the calling thread. Returns the frames read.
// Throws what the reading threw (AudioLoaderError) or what `consume` threw;
// the decoding thread has always finished when it returns or throws.
int64_t readMonoAhead(OpenedAudio& opened, int64_t chunkFrames, const ChunkConsumer& consume);

} // namespace AudioLoader
