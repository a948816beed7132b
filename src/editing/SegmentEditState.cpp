#include "editing/SegmentEditState.h"

#include "editing/SegmentGainEvaluation.h"

SegmentEditState::SegmentEditState(QObject* parent) : QObject(parent), edits_(SegmentEditSnapshot::initial()) {}

// Runs one change on the value and signals each list that came out different.
template <typename Change> void SegmentEditState::apply(Change&& change) {
    const SegmentEditSnapshot before = edits_;
    change(edits_);
    if (edits_.separators != before.separators)
        emit separatorsChanged();
    if (edits_.segmentGains != before.segmentGains)
        emit segmentGainsChanged();
}

bool SegmentEditState::hasEdits() const { return SegmentEditModel::hasEdits(edits_); }

bool SegmentEditState::addSeparator(double time) {
    bool added = false;
    apply([&](SegmentEditSnapshot& e) { added = SegmentEditModel::addSeparator(e, time); });
    return added;
}

void SegmentEditState::removeSeparator(const QUuid& id) {
    apply([&](SegmentEditSnapshot& e) { SegmentEditModel::removeSeparator(e, id); });
}

void SegmentEditState::moveSeparator(const QUuid& id, double time, double fileDuration) {
    apply([&](SegmentEditSnapshot& e) { SegmentEditModel::moveSeparator(e, id, time, fileDuration); });
}

void SegmentEditState::setSegmentGain(int64_t index, double gainOffsetDB) {
    apply([&](SegmentEditSnapshot& e) { SegmentEditModel::setSegmentGain(e, index, gainOffsetDB); });
}

void SegmentEditState::setFadeDuration(const QUuid& separatorID, double durationMs) {
    apply([&](SegmentEditSnapshot& e) { SegmentEditModel::setFadeDuration(e, separatorID, durationMs); });
}

void SegmentEditState::resetAll() {
    apply([](SegmentEditSnapshot& e) { e = SegmentEditSnapshot::initial(); });
}

int64_t SegmentEditState::segmentIndex(double time) const { return SegmentEditModel::segmentIndex(edits_, time); }

std::vector<float> SegmentEditState::computeGainEnvelope(double baseCorrectionDB, int64_t sampleRate,
                                                         int64_t totalSamples, int64_t blockSize) const {
    return SegmentGainEvaluation::computeGainEnvelope(edits_, baseCorrectionDB, sampleRate, totalSamples, blockSize);
}

bool SegmentEditState::restore(const SegmentEditSnapshot& snapshot) {
    if (!SegmentEditModel::satisfiesInvariants(snapshot))
        return false;
    apply([&](SegmentEditSnapshot& e) { e = snapshot; });
    return true;
}
