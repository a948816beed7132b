#include "editing/SegmentEditModel.h"

#include <algorithm>
#include <cmath>

namespace SegmentEditModel {

namespace {

std::vector<Separator>::iterator findSeparator(SegmentEditSnapshot& edits, const QUuid& id) {
    return std::find_if(edits.separators.begin(), edits.separators.end(),
                        [&](const Separator& s) { return s.id == id; });
}

} // namespace

bool hasEdits(const SegmentEditSnapshot& edits) {
    return !edits.separators.empty() || std::any_of(edits.segmentGains.begin(), edits.segmentGains.end(),
                                                    [](const SegmentGain& g) { return g.gainOffsetDB != 0.0; });
}

bool addSeparator(SegmentEditSnapshot& edits, double time) {
    if (!std::isfinite(time) || time < minimumStartSeconds)
        return false;
    for (const Separator& s : edits.separators) {
        if (std::abs(s.timeSeconds - time) < minimumSpacingSeconds)
            return false;
    }
    // Every separator is at least the minimum spacing away, so the one that
    // sorts after the new one is the first later one: the split segment's
    // index is also the new separator's position.
    const auto k = static_cast<size_t>(segmentIndex(edits, time));
    const double splitOffset = k < edits.segmentGains.size() ? edits.segmentGains[k].gainOffsetDB : 0.0;
    edits.separators.insert(edits.separators.begin() + static_cast<std::ptrdiff_t>(k),
                            Separator{QUuid::createUuid(), time, newSeparatorFadeMs});
    const size_t gainPosition = std::min(k + 1, edits.segmentGains.size());
    edits.segmentGains.insert(edits.segmentGains.begin() + static_cast<std::ptrdiff_t>(gainPosition),
                              SegmentGain{QUuid::createUuid(), splitOffset});
    return true;
}

void removeSeparator(SegmentEditSnapshot& edits, const QUuid& id) {
    const auto it = findSeparator(edits, id);
    if (it == edits.separators.end())
        return;
    const auto i = static_cast<size_t>(it - edits.separators.begin());
    edits.separators.erase(it);
    if (i + 1 < edits.segmentGains.size())
        edits.segmentGains.erase(edits.segmentGains.begin() + static_cast<std::ptrdiff_t>(i + 1));
}

void moveSeparator(SegmentEditSnapshot& edits, const QUuid& id, double time, double fileDuration) {
    const auto it = findSeparator(edits, id);
    if (it == edits.separators.end() || std::isnan(time))
        return;
    const double lower =
        it == edits.separators.begin() ? minimumStartSeconds : std::prev(it)->timeSeconds + minimumSpacingSeconds;
    const double upper = std::next(it) == edits.separators.end() ? fileDuration - minimumEndDistanceSeconds
                                                                 : std::next(it)->timeSeconds - minimumSpacingSeconds;
    // Clamp to the upper bound first, then raise to the lower one. An unknown
    // (NaN) duration leaves the last separator's upper side open.
    const double clamped = std::isnan(upper) ? time : std::min(time, upper);
    const double moved = std::max(lower, clamped);
    if (std::isfinite(moved))
        it->timeSeconds = moved;
}

void setSegmentGain(SegmentEditSnapshot& edits, int64_t index, double gainOffsetDB) {
    if (index < 0 || index >= static_cast<int64_t>(edits.segmentGains.size()) || !std::isfinite(gainOffsetDB))
        return;
    edits.segmentGains[static_cast<size_t>(index)].gainOffsetDB = gainOffsetDB;
}

void setFadeDuration(SegmentEditSnapshot& edits, const QUuid& separatorID, double durationMs) {
    const auto it = findSeparator(edits, separatorID);
    if (it == edits.separators.end() || std::isnan(durationMs))
        return;
    it->fadeDurationMs = std::max(minimumFadeMs, std::min(durationMs, maximumFadeMs));
}

int64_t segmentIndex(const SegmentEditSnapshot& edits, double time) {
    const auto& seps = edits.separators;
    for (size_t i = 0; i < seps.size(); ++i) {
        if (seps[i].timeSeconds > time)
            return static_cast<int64_t>(i);
    }
    return static_cast<int64_t>(seps.size());
}

SegmentBounds segmentBounds(const SegmentEditSnapshot& edits, int64_t index, double fileDuration) {
    const auto count = static_cast<int64_t>(edits.separators.size());
    const int64_t i = std::clamp<int64_t>(index, 0, count);
    const auto at = [&](int64_t k) { return edits.separators[static_cast<size_t>(k)].timeSeconds; };
    return SegmentBounds{i < 1 ? 0.0 : at(i - 1), i < count ? at(i) : fileDuration};
}

double largestGainOffsetDB(const std::vector<SegmentGain>& gains) {
    if (gains.empty())
        return 0.0;
    return std::max_element(gains.begin(), gains.end(),
                            [](const SegmentGain& a, const SegmentGain& b) { return a.gainOffsetDB < b.gainOffsetDB; })
        ->gainOffsetDB;
}

bool satisfiesInvariants(const SegmentEditSnapshot& edits) {
    constexpr double tolerance = 1e-9;
    const auto& seps = edits.separators;
    if (edits.segmentGains.size() != seps.size() + 1)
        return false;
    for (const SegmentGain& g : edits.segmentGains) {
        if (!std::isfinite(g.gainOffsetDB))
            return false;
    }
    for (size_t i = 0; i < seps.size(); ++i) {
        const Separator& s = seps[i];
        if (!std::isfinite(s.timeSeconds) || !(s.fadeDurationMs >= minimumFadeMs) ||
            !(s.fadeDurationMs <= maximumFadeMs))
            return false;
        const double earliest = i == 0 ? minimumStartSeconds : seps[i - 1].timeSeconds + minimumSpacingSeconds;
        if (s.timeSeconds < earliest - tolerance)
            return false;
    }
    return true;
}

} // namespace SegmentEditModel
