#include "session/AudioFileItem.h"

#include "io/NativePath.h"
#include "session/EditedLoudness.h"

#include <QThread>

AudioFileItem::AudioFileItem(QUrl url, QObject* parent)
    : QObject(parent), id_(QUuid::createUuid()), url_(std::move(url)), path_(NativePath::fromUrl(url_)),
      segmentEdits_(new SegmentEditState(this)) {
    for (auto signal : {&SegmentEditState::separatorsChanged, &SegmentEditState::segmentGainsChanged})
        connect(segmentEdits_, signal, this, [this] {
            editShiftLU_.reset();
            emit changed();
        });
}

// Stores a published field and tells observers when it changed.
template <typename T, typename Signal> void AudioFileItem::publish(T& field, T value, Signal signal) {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning (main) thread only
    if (field == value)
        return;
    field = std::move(value);
    emit(this->*signal)();
    emit changed();
}

void AudioFileItem::setAnalysis(std::optional<AnalysisResult> analysis) {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning (main) thread only
    // Always published: comparing two analyses would walk their curves.
    analysis_ = std::move(analysis);
    editShiftLU_.reset();
    emit analysisChanged();
    emit changed();
}

void AudioFileItem::setIsAnalyzing(bool analyzing) {
    publish(isAnalyzing_, analyzing, &AudioFileItem::isAnalyzingChanged);
}

void AudioFileItem::setAnalysisError(std::optional<Error> error) {
    publish(analysisError_, std::move(error), &AudioFileItem::analysisErrorChanged);
}

void AudioFileItem::setCorrectionDB(double db) { publish(correctionDB_, db, &AudioFileItem::correctionChanged); }

void AudioFileItem::setIsManualOverride(bool manual) {
    publish(isManualOverride_, manual, &AudioFileItem::correctionChanged);
}

void AudioFileItem::setIsEditMode(bool editMode) { publish(isEditMode_, editMode, &AudioFileItem::isEditModeChanged); }

void AudioFileItem::setNormalizeBy(NormalizeBy by) {
    if (by != normalizeBy_)
        editShiftLU_.reset();
    publish(normalizeBy_, by, &AudioFileItem::correctionChanged);
}

void AudioFileItem::setAlbum(std::optional<AlbumShare> album) {
    publish(album_, std::move(album), &AudioFileItem::correctionChanged);
}

std::optional<double> AudioFileItem::aimedFigureLUFS() const {
    if (!analysis_)
        return std::nullopt;
    return album_ ? album_->figureLUFS : *figureLUFS();
}

std::optional<double> AudioFileItem::figureLUFS() const {
    if (!analysis_)
        return std::nullopt;
    return analysis_->figureLUFS(normalizeBy_);
}

std::optional<double> AudioFileItem::finalLUFS() const {
    if (!analysis_)
        return std::nullopt;
    return *figureLUFS() + correctionDB_;
}

std::optional<double> AudioFileItem::editedFinalLUFS() const {
    if (!analysis_)
        return std::nullopt;
    if (!editShiftLU_)
        editShiftLU_ = EditedLoudness::shiftLU(*analysis_, segmentEdits_->snapshot(), normalizeBy_);
    return *finalLUFS() + *editShiftLU_;
}

std::optional<double> AudioFileItem::headroomDB(double ceilingDBTP) const {
    if (!analysis_)
        return std::nullopt;
    // A silent file is exported as it is.
    if (analysis_->isSilent())
        return ceilingDBTP - analysis_->truePeakDBTP;
    const double largest = SegmentEditModel::largestGainOffsetDB(segmentEdits_->segmentGains());
    return ceilingDBTP - SegmentEditModel::correctedPeakDBFS(analysis_->truePeakDBTP, correctionDB_, largest);
}
