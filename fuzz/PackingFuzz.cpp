// Any bytes as a kept measurement: they unpack to a measurement whose counts
// hold together, or to none, never to a crash or a huge allocation.

#include "analysis/AnalysisPacking.h"

#include "FuzzFiles.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto r = AnalysisPacking::unpack(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)));
    if (!r)
        return 0;
    if (r->envelope.minValues.size() != r->envelope.maxValues.size() || r->times.size() != r->loudnessCurve.size())
        finding("arrays of different lengths");
    if (r->gatingBlocks.firstBin < 0 ||
        r->gatingBlocks.firstBin + r->gatingBlocks.counts.size() > size_t{GatingHistogram::bins})
        finding("gating counts outside the loudness range");
    return 0;
}
