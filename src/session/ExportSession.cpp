#include "session/ExportSession.h"

#include "session/ExportPlan.h"

#include <QDir>
#include <QThread>
#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <vector>

// What the run's threads hand to the owning thread, in the order it came.
struct ExportSession::Inbox {
    std::mutex mutex;
    std::condition_variable arrived;
    std::vector<ExportProgress> progress;
    std::optional<ExportRun::Summary> summary;
    bool posted = false; // a call of applyArrived is on its way
};

ExportChoices ExportChoices::withFormat(ExportFormat f) const {
    return {f, supportsRate(f, sampleRate) ? sampleRate : SampleRate::rate48000};
}

ExportChoices ExportChoices::withSampleRate(SampleRate rate) const {
    return {format, supportsRate(format, rate) ? rate : sampleRate};
}

ExportSession::ExportSession(BatchSession& state, QObject* parent)
    : QObject(parent), state_(state), inbox_(std::make_shared<Inbox>()) {}

ExportSession::~ExportSession() {
    run_.requestStop();
    run_.wait();
}

void ExportSession::setFormat(ExportFormat format) {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning (main) thread only
    const ExportChoices next = choices_.withFormat(format);
    if (next == choices_)
        return;
    const bool lowered = next.sampleRate != choices_.sampleRate;
    choices_ = next;
    emit choicesChanged();
    if (lowered)
        emit rateLowered(format);
}

void ExportSession::setSampleRate(SampleRate rate) {
    const ExportChoices next = choices_.withSampleRate(rate);
    if (next == choices_)
        return;
    choices_ = next;
    emit choicesChanged();
}

void ExportSession::setProgress(ExportProgress progress) {
    if (progress == progress_)
        return;
    progress_ = progress;
    emit progressChanged();
}

ExportSettings ExportSession::settingsFor(const QString& chosenFolder, bool useLimiter,
                                          ExistingOutputs existing) const {
    return {QDir(chosenFolder).filePath(QStringLiteral("normalized")),
            choices_.format,
            choices_.sampleRate,
            useLimiter,
            state_.ceilingDBTP(),
            existing,
            state_.channelMix(),
            state_.normalizeBy()};
}

QStringList ExportSession::existingOutputs(const QString& chosenFolder) const {
    const ExportSettings settings = settingsFor(chosenFolder, true, ExistingOutputs::skip);
    return ExportRun::existingOutputs(ExportPlan::buildPlan(state_.files(), settings), settings);
}

void ExportSession::end(const ExportRun::Summary& summary) {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning (main) thread only
    isExporting_ = false;                           // the ended run stays, for the destructor to wait on its last call
    emit isExportingChanged();
    setProgress({});
    emit finished(summary);
}

void ExportSession::cancel() {
    if (!isExporting_ || run_.stopRequested())
        return;
    run_.requestStop();
    emit cancelling();
}

void ExportSession::start(bool useLimiter, const QString& chosenFolder, ExistingOutputs existing) {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning (main) thread only
    if (chosenFolder.isEmpty() || isExporting_)
        return;
    const ExportSettings settings = settingsFor(chosenFolder, useLimiter, existing);
    ExportRun::Plan plan = ExportPlan::buildPlan(state_.files(), settings);
    const int64_t total = plan.count();
    isExporting_ = true;
    setProgress({0, total, 0.0});
    emit isExportingChanged();

    // Every change the run makes goes through the owning thread. The
    // session outlives the run's calls: its destructor waits for them.
    const auto hand = [this, inbox = inbox_](auto put) {
        {
            const std::lock_guard lock(inbox->mutex);
            put(*inbox);
            if (std::exchange(inbox->posted, true))
                return;
            QMetaObject::invokeMethod(this, &ExportSession::applyArrived, Qt::QueuedConnection);
        }
        inbox->arrived.notify_all();
    };
    run_ = ExportRun::start(
        JobRunner::shared(), std::move(plan), settings,
        [hand, total](int64_t finished, double done) {
            hand([&](Inbox& inbox) { inbox.progress.push_back({finished, total, done}); });
        },
        [hand](ExportRun::Summary summary) { hand([&](Inbox& inbox) { inbox.summary = std::move(summary); }); });
}

void ExportSession::applyArrived() {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning (main) thread only
    std::vector<ExportProgress> progress;
    std::optional<ExportRun::Summary> summary;
    {
        const std::lock_guard lock(inbox_->mutex);
        progress.swap(inbox_->progress);
        summary.swap(inbox_->summary);
        inbox_->posted = false;
    }
    // Of what came in meanwhile, each finished count's last share is enough.
    for (size_t i = 0; i < progress.size(); ++i) {
        const bool lastOfItsCount = i + 1 == progress.size() || progress[i + 1].current != progress[i].current;
        if (lastOfItsCount && isExporting_ && !run_.stopRequested())
            setProgress(progress[i]);
    }
    if (summary)
        end(*summary);
}

bool ExportSession::applyNext(std::chrono::milliseconds timeout) {
    {
        std::unique_lock lock(inbox_->mutex);
        inbox_->arrived.wait_for(lock, timeout, [&] { return inbox_->posted || !isExporting_; });
    }
    applyArrived();
    return isExporting_;
}
