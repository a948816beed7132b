#include "playback/AudioPlaybackEngine.h"

#include "io/Error.h"
#include "playback/DefaultOutput.h"

#include <QThread>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

// Frame counts handed to the output are 32-bit; longer files are refused.
constexpr int64_t maximumFrames = std::numeric_limits<uint32_t>::max();

} // namespace

AudioPlaybackEngine::AudioPlaybackEngine(QObject* parent) : AudioPlaybackEngine(makeDefaultAudioOutput(), parent) {}

AudioPlaybackEngine::AudioPlaybackEngine(std::unique_ptr<AudioOutput> output, QObject* parent)
    : QObject(parent), output_(std::move(output)) {
    timer_.setInterval(1000 / 30);
    connect(&timer_, &QTimer::timeout, this, &AudioPlaybackEngine::updateTime);
    idleClose_.setSingleShot(true);
    idleClose_.setInterval(idleCloseMilliseconds);
    connect(&idleClose_, &QTimer::timeout, this, [this] {
        if (!isPlaying_)
            output_->close();
    });
}

AudioPlaybackEngine::~AudioPlaybackEngine() {
    output_->close(); // no callback runs after this
    reader_.stop();
    file_.reset();
}

double AudioPlaybackEngine::uptime() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - clockZero_).count();
}

void AudioPlaybackEngine::setCurrentTime(double seconds) {
    if (currentTime_ == seconds)
        return;
    currentTime_ = seconds;
    emit currentTimeChanged();
}

void AudioPlaybackEngine::setPlaying(bool playing, bool paused) {
    const bool playingChanged = isPlaying_ != playing, pausedChanged = isPaused_ != paused;
    isPlaying_ = playing;
    isPaused_ = paused;
    if (playing)
        idleClose_.stop();
    else
        idleClose_.start(); // after the fade-out has been heard
    if (playingChanged)
        emit isPlayingChanged();
    if (pausedChanged)
        emit isPausedChanged();
}

void AudioPlaybackEngine::setCorrectionVolume(double gainDB) {
    volume_.store(std::min(static_cast<float>(std::pow(10.0, gainDB / 20.0)), maximumVolume));
}

int64_t AudioPlaybackEngine::sourceReadPosition() const {
    return outputPosition_.load() * sourceRate_.load() / std::max<int64_t>(1, outputRate_.load());
}

void AudioPlaybackEngine::ensureOutput() {
    if (output_->openRate() && *output_->openRate() == fileRate_)
        return;
    output_->close();
    output_->open(fileRate_, this);
}

// Starts a new epoch reading from `sourceFrame`; the callback drops what was
// read for earlier ones.
void AudioPlaybackEngine::startStream(int64_t sourceFrame) {
    const uint64_t epoch = ++epochCounter_;
    const int64_t outRate = output_->openRate().value_or(fileRate_);
    sourceRate_.store(fileRate_);
    outputRate_.store(outRate);
    outputPosition_.store(sourceFrame * outRate / std::max<int64_t>(1, fileRate_));
    epoch_.store(epoch);
    reader_.start(file_, epoch, sourceFrame, outRate);
}

void AudioPlaybackEngine::play(const QString& path, double fromTime, double gainDB, const SegmentEditState* edits) {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning (main) thread only
    ++playbackGeneration_;
    leaveEnvelope();
    active_.store(false);
    stopTimer();

    std::shared_ptr<AudioReader> file;
    try {
        file = std::make_shared<AudioReader>(path);
    } catch (const Failure&) {
        return; // not reported: the state stays as it was
    }
    if (file->sampleRate() < 1 || file->frames() > maximumFrames)
        return;
    file_ = std::move(file);
    currentFile_ = path;
    fileFrames_ = file_->frames();
    fileRate_ = file_->sampleRate();
    fileDuration_ = static_cast<double>(fileFrames_) / static_cast<double>(fileRate_);

    const double start = std::max(0.0, std::min(fromTime, fileDuration_ - 0.01));
    const auto startFrame = static_cast<int64_t>(start * static_cast<double>(fileRate_));
    if (fileFrames_ - startFrame < 1) {
        setCurrentTime(0.0);
        return;
    }
    setCurrentTime(start);
    playbackStartUptime_ = uptime();
    playbackStartFileTime_ = start;

    ensureOutput();
    if (edits && edits->hasEdits()) {
        envelope_.publish(edits->computeGainEnvelope(gainDB, fileRate_, fileFrames_, envelopeBlockSize));
        volume_.store(1.0f);
        followsEnvelope_.store(true);
    } else {
        setCorrectionVolume(gainDB);
        followsEnvelope_.store(false);
    }
    paused_.store(false);
    startStream(startFrame);
    active_.store(true);
    setPlaying(true, false);
    startTimer();
}

void AudioPlaybackEngine::pause() {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning (main) thread only
    updateTime();
    paused_.store(true);
    setPlaying(false, true);
    stopTimer();
}

void AudioPlaybackEngine::resume(const SegmentEditState* edits, std::optional<double> gainDB) {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning (main) thread only
    if (!isPaused_ || currentFile_.isEmpty())
        return;
    const double gain = gainDB.value_or(0.0);
    const double t = currentTime_;
    const bool enveloped = followsEnvelope_.load();
    if ((edits && edits->hasEdits() != enveloped) || (!edits && enveloped)) {
        play(currentFile_, t, gain, edits && edits->hasEdits() ? edits : nullptr);
        return;
    }
    const auto startFrame = static_cast<int64_t>(t * static_cast<double>(fileRate_));
    if (enveloped) {
        envelope_.publish(edits->computeGainEnvelope(gain, fileRate_, fileFrames_, envelopeBlockSize));
    } else {
        ++playbackGeneration_;
        setCorrectionVolume(gain);
        if (fileFrames_ - startFrame < 1) {
            onPlaybackFinished();
            return;
        }
    }
    ensureOutput();
    playbackStartUptime_ = uptime();
    playbackStartFileTime_ = t;
    startStream(startFrame);
    paused_.store(false);
    setPlaying(true, false);
    startTimer();
}

void AudioPlaybackEngine::stop() {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning (main) thread only
    ++playbackGeneration_;
    leaveEnvelope();
    active_.store(false);
    reader_.stop();
    setPlaying(false, false);
    setCurrentTime(0.0);
    file_.reset();
    currentFile_.clear();
    fileFrames_ = 0;
    fileDuration_ = 0.0;
    stopTimer();
}

void AudioPlaybackEngine::seek(double seconds) {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning (main) thread only
    setCurrentTime(seconds);
    if (!isPlaying_ || !file_)
        return;
    const auto startFrame = static_cast<int64_t>(static_cast<double>(fileRate_) * seconds);
    if (!followsEnvelope_.load()) {
        ++playbackGeneration_;
        if (fileFrames_ - startFrame < 1) {
            onPlaybackFinished();
            return;
        }
    }
    startStream(std::max<int64_t>(0, startFrame));
    playbackStartUptime_ = uptime();
    playbackStartFileTime_ = seconds;
}

void AudioPlaybackEngine::updateGainEnvelope(const SegmentEditState& edits, double baseCorrectionDB) {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning (main) thread only
    if (!file_)
        return;
    // Edits that appear or vanish during playback switch the mode at once;
    // the callback reads the mode in one load and glides to the new gain.
    if (!edits.hasEdits() && followsEnvelope_.load()) {
        setCorrectionVolume(baseCorrectionDB);
        followsEnvelope_.store(false);
        return;
    }
    envelope_.publish(edits.computeGainEnvelope(baseCorrectionDB, fileRate_, fileFrames_, envelopeBlockSize));
    if (edits.hasEdits() && !followsEnvelope_.load()) {
        followsEnvelope_.store(true);
        volume_.store(1.0f);
    }
}

void AudioPlaybackEngine::setOutputDevice(int deviceIndex) {
    output_->setDevice(deviceIndex);
    if (!output_->openRate())
        return;
    const int64_t before = outputRate_.load();
    const int64_t sourceFrame = sourceReadPosition();
    output_->close();
    output_->open(fileRate_ > 0 ? fileRate_ : before, this);
    // A device that takes another rate needs the stream converted anew.
    if (file_ && output_->openRate() && *output_->openRate() != before)
        startStream(sourceFrame);
}

void AudioPlaybackEngine::leaveEnvelope() {
    followsEnvelope_.store(false);
    envelope_.clear();
}

void AudioPlaybackEngine::startTimer() { timer_.start(); }
void AudioPlaybackEngine::stopTimer() { timer_.stop(); }

void AudioPlaybackEngine::updateTime() {
    envelope_.reclaim();
    if (!isPlaying_)
        return;
    if (finishedEpoch_.load() == epoch_.load()) {
        onPlaybackFinished();
        return;
    }
    const double t = (uptime() - playbackStartUptime_) + playbackStartFileTime_;
    setCurrentTime(std::max(0.0, std::min(t, fileDuration_)));
}

void AudioPlaybackEngine::onPlaybackFinished() {
    setPlaying(false, false);
    setCurrentTime(0.0);
    stopTimer();
}

// From the last output, a straight line down to zero over one ramp: an
// interrupted wave (a stop, a seek, a stall) ends without a step.
void AudioPlaybackEngine::beginTail(int64_t rampFrames) noexcept {
    tailFrom_[0] = lastOut_[0];
    tailFrom_[1] = lastOut_[1];
    tailLeft_ = rampFrames;
    sounding_ = false;
    fade_ = 0.0f;
    gainRampLeft_ = 0;
}

void AudioPlaybackEngine::render(float* out, int64_t frames) noexcept {
    envelope_.enter();
    const int64_t rampFrames = std::max<int64_t>(1, outputRate_.load() * rampMilliseconds / 1000);
    const float step = 1.0f / static_cast<float>(rampFrames);
    // Adds the tail, if one runs, to frame `i` and remembers what was output.
    const auto put = [&](int64_t i, float left, float right) {
        if (tailLeft_ > 0) {
            const float k = static_cast<float>(tailLeft_) * step;
            left += tailFrom_[0] * k;
            right += tailFrom_[1] * k;
            --tailLeft_;
        }
        out[2 * i] = left;
        out[2 * i + 1] = right;
        lastOut_[0] = left;
        lastOut_[1] = right;
    };
    int64_t written = 0;
    const bool paused = paused_.load();
    if (active_.load()) {
        const uint64_t epoch = epoch_.load();
        if (epoch != seenEpoch_) {
            seenEpoch_ = epoch;
            chunkOffset_ = 0;
            beginTail(rampFrames); // the new position fades in under it
        }
        // Chunks read before a seek are dropped at once, so the reader has
        // room for the new position even when this call has no frames to fill.
        for (ChunkRing::Chunk* chunk = ring_.front(); chunk && chunk->epoch != epoch; chunk = ring_.front())
            ring_.pop();
        const EnvelopeHandOff::Gains* envelope = envelope_.current();
        const bool useEnvelope = followsEnvelope_.load() && envelope;
        // The envelope carries the correction; the volume is for the other mode.
        const float volume = useEnvelope ? 1.0f : volume_.load();
        // A new gain glides from the one in use instead of stepping.
        if (volume != seenVolume_ || envelope != seenEnvelope_) {
            if (sounding_) {
                gainRampFrom_ = lastGain_;
                gainRampLeft_ = rampFrames;
            }
            seenVolume_ = volume;
            seenEnvelope_ = envelope;
        }
        const int64_t sourceRate = sourceRate_.load(), outputRate = outputRate_.load();
        const auto lastBlock = useEnvelope ? static_cast<int64_t>(envelope->size()) - 1 : 0;
        bool atEnd = false;
        bool fadedOut = paused && fade_ <= 0.0f; // a pause fades the sound out, then holds

        while (written < frames && !fadedOut) {
            ChunkRing::Chunk* chunk = ring_.front();
            if (!chunk)
                break; // not read yet: silence now, the frames come later
            if (chunk->epoch != epoch) {
                ring_.pop();
                chunkOffset_ = 0;
                continue;
            }
            if (chunkOffset_ >= chunk->frames) {
                if (chunk->last) {
                    atEnd = true;
                    break;
                }
                ring_.pop();
                chunkOffset_ = 0;
                continue;
            }
            int64_t n = std::min(frames - written, chunk->frames - chunkOffset_);
            const float* in = chunk->samples.data() + chunkOffset_ * 2;
            const int64_t first = chunk->firstFrame + chunkOffset_;
            for (int64_t i = 0; i < n; ++i) {
                float gain = volume;
                if (useEnvelope) {
                    const int64_t sourceFrame =
                        sourceRate == outputRate ? first + i : (first + i) * sourceRate / outputRate;
                    gain =
                        (*envelope)[static_cast<size_t>(std::min(sourceFrame / envelopeBlockSize, lastBlock))] * volume;
                }
                if (gainRampLeft_ > 0) {
                    gain = gainRampFrom_ + (gain - gainRampFrom_) * (1.0f - static_cast<float>(gainRampLeft_) * step);
                    --gainRampLeft_;
                }
                lastGain_ = gain;
                fade_ = paused ? std::max(0.0f, fade_ - step) : std::min(1.0f, fade_ + step);
                put(written + i, in[2 * i] * gain * fade_, in[2 * i + 1] * gain * fade_);
                sounding_ = true;
                if (paused && fade_ <= 0.0f) {
                    n = i + 1;
                    fadedOut = true;
                }
            }
            chunkOffset_ += n;
            written += n;
            outputPosition_.store(first + n);
            if (chunkOffset_ == chunk->frames && chunk->last)
                atEnd = true;
        }
        if (atEnd)
            finishedEpoch_.store(epoch);
    }
    if (written < frames && sounding_)
        beginTail(rampFrames);
    for (int64_t i = written; i < frames; ++i)
        put(i, 0.0f, 0.0f);
    envelope_.leave();
}
