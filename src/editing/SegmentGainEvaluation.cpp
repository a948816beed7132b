#include "editing/SegmentGainEvaluation.h"

#include "editing/SegmentEditModel.h"

#include <cmath>
#include <limits>

namespace SegmentGainEvaluation {

namespace {

// The fade zone of one separator: half its fade on either side, both ends
// included. A zero fade has no zone.
struct FadeZone {
    double start;
    double end;
    double halfWidth;

    explicit FadeZone(const Separator& s)
        : start(s.timeSeconds - s.fadeDurationMs / 2000.0),
          end(s.timeSeconds + s.fadeDurationMs / 2000.0), halfWidth(s.fadeDurationMs / 2000.0) {}

    bool contains(double t) const { return start <= t && t <= end && halfWidth > 0; }
};

double offsetOf(const SegmentEditSnapshot& edits, size_t segment) {
    return segment < edits.segmentGains.size() ? edits.segmentGains[segment].gainOffsetDB : 0.0;
}

// Straight line in dB from the left segment's offset at the zone's start to
// the right segment's offset at its end.
double offsetInZone(const SegmentEditSnapshot& edits, size_t separator, const FadeZone& zone,
                    double t) {
    const double left = offsetOf(edits, separator);
    const double right = offsetOf(edits, separator + 1);
    return left + (t - zone.start) / (zone.end - zone.start) * (right - left);
}

float linearGain(double db) { return static_cast<float>(std::pow(10.0, db / 20.0)); }

double blockCentreTime(int64_t block, int64_t blockFrames, int64_t sampleRate) {
    const int64_t centre = block * blockFrames + blockFrames / 2;
    return static_cast<double>(centre) / static_cast<double>(sampleRate);
}

// True when every fade zone lies strictly between the neighbouring separators,
// which the model's spacing and fade limits guarantee. Then only the zones of
// the separators just before and just after a time can contain it, and
// they are the first in list order that could.
bool zonesStayBetweenNeighbours(const SegmentEditSnapshot& edits) {
    const auto& seps = edits.separators;
    for (size_t i = 0; i < seps.size(); ++i) {
        const FadeZone zone(seps[i]);
        if (i > 0 && !(seps[i - 1].timeSeconds < zone.start && seps[i - 1].timeSeconds < seps[i].timeSeconds))
            return false;
        if (i + 1 < seps.size() && !(zone.end < seps[i + 1].timeSeconds))
            return false;
    }
    return true;
}

} // namespace

double gainOffsetAtTime(const SegmentEditSnapshot& edits, double time) {
    const auto& seps = edits.separators;
    for (size_t i = 0; i < seps.size(); ++i) {
        const FadeZone zone(seps[i]);
        if (zone.contains(time))
            return offsetInZone(edits, i, zone, time);
    }
    return offsetOf(edits, static_cast<size_t>(SegmentEditModel::segmentIndex(edits, time)));
}

double gainAtTime(const SegmentEditSnapshot& edits, double time, double baseCorrectionDB) {
    return baseCorrectionDB + gainOffsetAtTime(edits, time);
}

std::vector<float> computeGainEnvelope(const SegmentEditSnapshot& edits, double baseCorrectionDB,
                                       int64_t sampleRate, int64_t totalSamples,
                                       int64_t blockFrames) {
    if (totalSamples <= 0 || sampleRate < 1 || blockFrames < 1)
        return {};
    const int64_t blocks = totalSamples / blockFrames + (totalSamples % blockFrames != 0 ? 1 : 0);
    std::vector<float> envelope(static_cast<size_t>(blocks), 0.0f);

    // Successive blocks often share a gain; only a new dB value needs pow.
    double lastDB = std::numeric_limits<double>::quiet_NaN();
    float lastGain = 0.0f;
    const auto store = [&](int64_t b, double db) {
        if (db != lastDB) {
            lastDB = db;
            lastGain = linearGain(db);
        }
        envelope[static_cast<size_t>(b)] = lastGain;
    };

    if (!zonesStayBetweenNeighbours(edits)) {
        for (int64_t b = 0; b < blocks; ++b)
            store(b, gainAtTime(edits, blockCentreTime(b, blockFrames, sampleRate), baseCorrectionDB));
        return envelope;
    }

    // Block centres only grow, so one pass over the separators finds each
    // block's segment; the zones to test are those of the separators on
    // either side, the earlier one first. Same arithmetic as gainAtTime, so
    // the floats are identical.
    const auto& seps = edits.separators;
    size_t next = 0; // first separator later than the block centre
    for (int64_t b = 0; b < blocks; ++b) {
        const double t = blockCentreTime(b, blockFrames, sampleRate);
        while (next < seps.size() && seps[next].timeSeconds <= t)
            ++next;
        double offset = offsetOf(edits, next);
        if (next > 0 && FadeZone(seps[next - 1]).contains(t))
            offset = offsetInZone(edits, next - 1, FadeZone(seps[next - 1]), t);
        else if (next < seps.size() && FadeZone(seps[next]).contains(t))
            offset = offsetInZone(edits, next, FadeZone(seps[next]), t);
        store(b, baseCorrectionDB + offset);
    }
    return envelope;
}

} // namespace SegmentGainEvaluation
