#include "session/ExportSession.h"

#include "session/ExportPlan.h"

#include <QDir>
#include <QThread>
#include <algorithm>
#include <vector>

ExportChoices ExportChoices::withFormat(ExportFormat f) const {
    return {f, supportsRate(f, sampleRate) ? sampleRate : SampleRate::rate48000, skipUpToDate};
}

ExportChoices ExportChoices::withSampleRate(SampleRate rate) const {
    return {format, supportsRate(format, rate) ? rate : sampleRate, skipUpToDate};
}

ExportSession::ExportSession(BatchSession& state, QObject* parent)
    : QObject(parent), state_(state), inbox_(std::make_shared<Inbox<News>>()) {}

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

void ExportSession::setSampleRate(SampleRate rate) { choose(choices_.withSampleRate(rate)); }

void ExportSession::setSkipUpToDate(bool skip) {
    ExportChoices next = choices_;
    next.skipUpToDate = skip;
    choose(next);
}

void ExportSession::choose(const ExportChoices& next) {
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
            state_.normalizeBy(),
            choices_.skipUpToDate};
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
    const auto hand = [this, inbox = inbox_](auto news) {
        inbox->put(std::move(news),
                   [this] { QMetaObject::invokeMethod(this, &ExportSession::applyArrived, Qt::QueuedConnection); });
    };
    run_ = ExportRun::start(
        JobRunner::shared(), std::move(plan), settings,
        [hand, total](int64_t finished, double done) {
            hand(ExportProgress{finished, total, done});
        },
        [hand](ExportRun::Summary summary) { hand(std::move(summary)); });
}

void ExportSession::applyArrived() {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning (main) thread only
    const auto news = inbox_->take();
    // Of what came in meanwhile, each finished count's last share is enough.
    for (size_t i = 0; i < news.size(); ++i) {
        if (const auto* summary = std::get_if<ExportRun::Summary>(&news[i])) {
            end(*summary);
            continue;
        }
        const auto& progress = std::get<ExportProgress>(news[i]);
        const auto* next = i + 1 < news.size() ? std::get_if<ExportProgress>(&news[i + 1]) : nullptr;
        if ((!next || next->current != progress.current) && isExporting_ && !run_.stopRequested())
            setProgress(progress);
    }
}

bool ExportSession::applyNext(std::chrono::milliseconds timeout) {
    inbox_->waitFor(timeout, [&] { return !isExporting_; });
    applyArrived();
    return isExporting_;
}
