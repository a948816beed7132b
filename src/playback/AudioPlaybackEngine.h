#pragma once

// Plays one file at a time for auditioning, with its correction and segment
// edits, and publishes a playhead clock. Lives on the main thread.
//
// Two modes, chosen at each start: a file without segment edits plays with its
// correction as a gain capped at 4.0 (+12.04 dB); a file with edits has every
// frame multiplied by the gain envelope block of its frame index (512-frame
// blocks, correction included, no cap). Both stream from disk through a
// reader thread and a lock-free ring, so play, seek and resume return at once
// whatever the file's length. The audio callback shares only atomics, the
// ring and the envelope hand-off with the main thread.

#include "editing/SegmentEditState.h"
#include "editing/SegmentGainEvaluation.h"
#include "playback/AudioOutput.h"
#include "playback/ChunkRing.h"
#include "playback/EnvelopeHandOff.h"
#include "playback/StreamReader.h"

#include <QObject>
#include <QString>
#include <QTimer>
#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <vector>

class AudioPlaybackEngine : public QObject, private AudioCallback {
    Q_OBJECT

public:
    static constexpr int64_t envelopeBlockSize = SegmentGainEvaluation::blockSize;
    static constexpr float maximumVolume = 4.0f;
    // Fades at starts, pauses and stops, and glides between gains, take this long.
    static constexpr int64_t rampMilliseconds = 5;
    // The output is closed once playback has been idle this long, so that
    // nothing wakes while nothing plays.
    static constexpr int idleCloseMilliseconds = 1000;

    // Uses the default output: PortAudio, or a silent clock without sound hardware.
    explicit AudioPlaybackEngine(QObject* parent = nullptr);
    explicit AudioPlaybackEngine(std::unique_ptr<AudioOutput> output, QObject* parent = nullptr);
    ~AudioPlaybackEngine() override;

    bool isPlaying() const { return isPlaying_; }
    bool isPaused() const { return isPaused_; }
    double currentTime() const { return currentTime_; }
    void setCurrentTime(double seconds);
    bool followsEnvelope() const { return followsEnvelope_.load(); }
    const QString& currentFilePath() const { return currentFile_; }
    float volume() const { return volume_.load(); }

    void play(const QString& path, double fromTime, double gainDB, const SegmentEditState* edits);
    void pause();
    void resume(const SegmentEditState* edits, std::optional<double> gainDB);
    void stop();
    void seek(double seconds);
    // Recomputes the open file's envelope; when edits appear during playback
    // the envelope takes over from the volume at once, and when they vanish
    // the volume takes the correction back.
    void updateGainEnvelope(const SegmentEditState& edits, double baseCorrectionDB);
    // The correction as one volume: min(10^(dB/20), 4.0).
    void setCorrectionVolume(double gainDB);

    // Reopens the output on another device (a backend device index), keeping
    // the position and the state.
    void setOutputDevice(int deviceIndex);
    AudioOutput& output() { return *output_; }

    // Source frame the output plays next.
    int64_t sourceReadPosition() const;

signals:
    void isPlayingChanged();
    void isPausedChanged();
    void currentTimeChanged();

private:
    friend struct EngineProbe; // tests read the reader's progress
    void render(float* out, int64_t frames) noexcept override;
    void beginTail(int64_t rampFrames) noexcept;

    void setPlaying(bool playing, bool paused);
    void startStream(int64_t sourceFrame);
    void ensureOutput();
    void leaveEnvelope();
    void startTimer();
    void stopTimer();
    void updateTime();
    void onPlaybackFinished();
    double uptime() const;

    std::unique_ptr<AudioOutput> output_;
    ChunkRing ring_;
    StreamReader reader_{ring_};

    // Main thread.
    bool isPlaying_ = false;
    bool isPaused_ = false;
    double currentTime_ = 0.0;
    QString currentFile_;
    std::shared_ptr<AudioReader> file_; // handed to the reader; not read here
    int64_t fileFrames_ = 0;
    int64_t fileRate_ = 0;
    double fileDuration_ = 0.0;
    double playbackStartUptime_ = 0.0;
    double playbackStartFileTime_ = 0.0;
    int64_t playbackGeneration_ = 0;
    uint64_t epochCounter_ = 0;
    QTimer timer_;
    QTimer idleClose_;
    std::chrono::steady_clock::time_point clockZero_ = std::chrono::steady_clock::now();

    // Shared with the audio callback.
    std::atomic<uint64_t> epoch_{0};  // chunks of other epochs are dropped
    std::atomic<bool> active_{false}; // a stream is set up
    std::atomic<bool> paused_{false};
    std::atomic<bool> followsEnvelope_{false};
    std::atomic<float> volume_{1.0f};
    std::atomic<int64_t> sourceRate_{1};
    std::atomic<int64_t> outputRate_{1};
    std::atomic<int64_t> outputPosition_{0}; // next output frame
    std::atomic<uint64_t> finishedEpoch_{0}; // the epoch whose end the callback reached
    EnvelopeHandOff envelope_;

    // Audio callback only.
    uint64_t seenEpoch_ = 0;
    int64_t chunkOffset_ = 0;
    // Transitions ramp over a few milliseconds instead of stepping: every
    // start fades in, a pause fades out, a new gain glides, and an
    // interrupted wave ends in a short line down to zero (the tail).
    float fade_ = 0.0f;
    float lastGain_ = 0.0f;
    float gainRampFrom_ = 0.0f;
    int64_t gainRampLeft_ = 0;
    float seenVolume_ = -1.0f;
    const EnvelopeHandOff::Gains* seenEnvelope_ = nullptr;
    float lastOut_[2] = {0.0f, 0.0f};
    float tailFrom_[2] = {0.0f, 0.0f};
    int64_t tailLeft_ = 0;
    bool sounding_ = false;
};
