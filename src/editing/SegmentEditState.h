#pragma once

// The segment edits of one file as the views observe them. Lives on the main
// thread; every change of either list is signalled. All the work is done by
// SegmentEditModel and SegmentGainEvaluation on the value this object holds,
// and workers evaluate a snapshot() instead of the object.

#include "editing/SegmentEditModel.h"
#include "editing/SegmentEditRecords.h"

#include <QObject>
#include <cstdint>
#include <vector>

class SegmentEditState : public QObject {
    Q_OBJECT

public:
    explicit SegmentEditState(QObject* parent = nullptr);

    const std::vector<Separator>& separators() const { return edits_.separators; }
    const std::vector<SegmentGain>& segmentGains() const { return edits_.segmentGains; }

    bool hasEdits() const;

    bool addSeparator(double time);
    void removeSeparator(const QUuid& id);
    void moveSeparator(const QUuid& id, double time, double fileDuration);
    void setSegmentGain(int64_t index, double gainOffsetDB);
    void setFadeDuration(const QUuid& separatorID, double durationMs);
    void resetAll();

    int64_t segmentIndex(double time) const;
    std::vector<float> computeGainEnvelope(double baseCorrectionDB, int64_t sampleRate, int64_t totalSamples,
                                           int64_t blockSize) const;

    // A copy of both lists, for undo and for workers.
    SegmentEditSnapshot snapshot() const { return edits_; }
    // Assigns both lists wholesale. A snapshot that breaks the model's
    // invariants is refused (returns false, nothing changes).
    bool restore(const SegmentEditSnapshot& snapshot);

signals:
    void separatorsChanged();
    void segmentGainsChanged();

private:
    template <typename Change> void apply(Change&& change);

    SegmentEditSnapshot edits_;
};
