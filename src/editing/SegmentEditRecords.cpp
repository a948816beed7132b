#include "editing/SegmentEditRecords.h"

SegmentEditSnapshot SegmentEditSnapshot::initial() {
    return SegmentEditSnapshot{{}, {SegmentGain{QUuid::createUuid(), 0.0}}};
}
