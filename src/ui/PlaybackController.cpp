#include "ui/PlaybackController.h"

#include "ui/Selection.h"
#include "ui/TimeText.h"

#include <cmath>

PlaybackController::PlaybackController(BatchSession& state, AudioPlaybackEngine& engine)
    : state_(state), engine_(engine) {}

namespace {

// The file's edits when it has any: the engine then multiplies by the envelope.
const SegmentEditState* editsToPlay(const AudioFileItem& file) {
    return file.segmentEdits().hasEdits() ? &file.segmentEdits() : nullptr;
}

} // namespace

bool PlaybackController::canPlay() const {
    const AudioFileItemPtr file = selection_.file();
    return file && file->analysis();
}

void PlaybackController::togglePlay() {
    if (engine_.isPlaying()) {
        engine_.pause();
        return;
    }
    const AudioFileItemPtr file = selection_.file();
    if (engine_.isPaused()) {
        if (!file)
            engine_.resume(nullptr, std::nullopt);
        else
            engine_.resume(editsToPlay(*file), file->correctionDB());
        return;
    }
    if (!file || !file->analysis())
        return;
    // A seek while stopped chooses where play starts.
    const double start = engine_.currentTime() > 0 ? engine_.currentTime() : 0.0;
    engine_.play(file->path(), start, file->correctionDB(), editsToPlay(*file));
}

void PlaybackController::onSelectionChanged() {
    const AudioFileItemPtr file = selection_.file();
    if (!file || !file->analysis()) {
        if (engine_.isPlaying() || engine_.isPaused())
            engine_.stop();
        return;
    }
    if (!engine_.isPlaying()) {
        if (engine_.isPaused())
            engine_.stop();
        engine_.setCurrentTime(0.0);
        return;
    }
    engine_.play(file->path(), file->analysis()->windowStart, file->correctionDB(), editsToPlay(*file));
}

void PlaybackController::updateLiveGain() {
    if (!engine_.isPlaying() && !engine_.isPaused())
        return;
    const AudioFileItemPtr file = selection_.file();
    if (!file)
        return;
    // A playback with edits carries its correction in the envelope: rebuild it
    // and leave the volume at 1.0, so the correction is never applied twice.
    if (engine_.followsEnvelope())
        engine_.updateGainEnvelope(file->segmentEdits(), file->correctionDB());
    else
        engine_.setCorrectionVolume(file->correctionDB());
}

void PlaybackController::chooseOutputDevice(uint32_t deviceID) {
    selectedDeviceID_ = deviceID;
    if (deviceID != AudioDeviceManager::systemDefaultID)
        engine_.setOutputDevice(AudioDevice{deviceID, {}, 0, 0.0}.deviceIndex());
}

double PlaybackController::displayPlayheadTime() const {
    if (engine_.isPlaying() || engine_.isPaused())
        return engine_.currentTime();
    return engine_.currentTime() > 0 ? engine_.currentTime() : -1.0;
}

QString PlaybackController::timeString() const {
    const AudioFileItemPtr file = selection_.file();
    if (!file || !file->analysis())
        return QStringLiteral("0:00.0 / 0:00.0");
    return TimeText::playhead(engine_.currentTime()) + QStringLiteral(" / ") +
           TimeText::playhead(file->analysis()->duration);
}
