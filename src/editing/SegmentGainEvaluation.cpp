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

    explicit FadeZone(const Separator& s)
        : start(s.timeSeconds - s.fadeDurationMs / 2000.0), end(s.timeSeconds + s.fadeDurationMs / 2000.0) {}

    bool contains(double t) const { return start <= t && t <= end && start < end; }
};

double offsetOf(const SegmentEditSnapshot& edits, size_t segment) {
    return segment < edits.segmentGains.size() ? edits.segmentGains[segment].gainOffsetDB : 0.0;
}

// Straight line in dB from the left segment's offset at the zone's start to
// the right segment's offset at its end.
double offsetInZone(const SegmentEditSnapshot& edits, size_t separator, const FadeZone& zone, double t) {
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

namespace {

// Offsets at times that mostly rise, as gainOffsetAtTime gives them, with the
// same arithmetic and so the same doubles. When the zones stay between
// their neighbours, one pass over the separators finds each time's segment
// and only the zones on either side, the earlier first, are tested.
class RisingOffsets {
public:
    explicit RisingOffsets(const SegmentEditSnapshot& edits)
        : edits_(edits), inOrder_(zonesStayBetweenNeighbours(edits)) {}

    double at(double t) {
        if (!inOrder_)
            return gainOffsetAtTime(edits_, t);
        const auto& seps = edits_.separators;
        if (t < last_)
            next_ = 0; // went back: walk again from the start
        last_ = t;
        while (next_ < seps.size() && seps[next_].timeSeconds <= t)
            ++next_;
        if (next_ > 0 && FadeZone(seps[next_ - 1]).contains(t))
            return offsetInZone(edits_, next_ - 1, FadeZone(seps[next_ - 1]), t);
        if (next_ < seps.size() && FadeZone(seps[next_]).contains(t))
            return offsetInZone(edits_, next_, FadeZone(seps[next_]), t);
        return offsetOf(edits_, next_);
    }

private:
    const SegmentEditSnapshot& edits_;
    bool inOrder_;
    size_t next_ = 0; // first separator later than the last time
    double last_ = -std::numeric_limits<double>::infinity();
};

} // namespace

std::vector<double> gainOffsetsAtTimes(const SegmentEditSnapshot& edits, const std::vector<double>& times) {
    RisingOffsets offsets(edits);
    std::vector<double> out;
    out.reserve(times.size());
    for (double t : times)
        out.push_back(offsets.at(t));
    return out;
}

std::vector<float> computeGainEnvelope(const SegmentEditSnapshot& edits, double baseCorrectionDB, int64_t sampleRate,
                                       int64_t totalSamples, int64_t blockFrames) {
    if (totalSamples <= 0 || sampleRate < 1 || blockFrames < 1)
        return {};
    const int64_t blocks = totalSamples / blockFrames + (totalSamples % blockFrames != 0 ? 1 : 0);
    std::vector<float> envelope(static_cast<size_t>(blocks), 0.0f);
    // Successive blocks often share a gain; only a new dB value needs pow.
    double lastDB = std::numeric_limits<double>::quiet_NaN();
    float lastGain = 0.0f;
    RisingOffsets offsets(edits);
    for (int64_t b = 0; b < blocks; ++b) {
        const double db = baseCorrectionDB + offsets.at(blockCentreTime(b, blockFrames, sampleRate));
        if (db != lastDB) {
            lastDB = db;
            lastGain = linearGain(db);
        }
        envelope[static_cast<size_t>(b)] = lastGain;
    }
    return envelope;
}

} // namespace SegmentGainEvaluation
