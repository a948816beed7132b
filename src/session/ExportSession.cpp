#include "session/ExportSession.h"

#include "export/MainThread.h"
#include "session/ExportPlan.h"

#include <QDir>
#include <QThread>
#include <algorithm>

ExportChoices ExportChoices::withFormat(ExportFormat f) const {
    return {f, supportsRate(f, sampleRate) ? sampleRate : SampleRate::rate48000};
}

ExportChoices ExportChoices::withSampleRate(SampleRate rate) const {
    return {format, supportsRate(format, rate) ? rate : sampleRate};
}

ExportSession::ExportSession(BatchSession& state, QObject* parent) : QObject(parent), state_(state) {}

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
    isExporting_ = false;
    run_ = {};
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

    // Every change the run makes goes through the main thread; a session
    // that no longer exists is left alone.
    const QPointer<ExportSession> self(this);
    run_ = ExportRun::start(
        JobRunner::shared(), std::move(plan), settings,
        [self, total](int64_t finished, double done) {
            postToMainThread([self, finished, done, total] {
                if (!self || !self->isExporting_ || self->run_.stopRequested())
                    return;
                self->setProgress({finished, total, done});
            });
        },
        [self](ExportRun::Summary summary) {
            postToMainThread([self, summary = std::move(summary)] {
                if (self)
                    self->end(summary);
            });
        });
}
