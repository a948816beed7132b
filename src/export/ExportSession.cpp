#include "export/ExportSession.h"

#include "export/MainThread.h"
#include "io/TemporaryFile.h"

#include <QDir>
#include <QThread>
#include <QThreadPool>

ExportChoices ExportChoices::withFormat(ExportFormat f) const {
    return {f, supportsRate(f, sampleRate) ? sampleRate : SampleRate::rate48000};
}

ExportChoices ExportChoices::withSampleRate(SampleRate rate) const {
    return {format, supportsRate(format, rate) ? rate : sampleRate};
}

ExportSession::ExportSession(AppState& state, QObject* parent) : QObject(parent), state_(state) {}

void ExportSession::setFormat(ExportFormat format) {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning (main) thread only
    const ExportChoices next = choices_.withFormat(format);
    if (next == choices_)
        return;
    if (next.sampleRate != choices_.sampleRate)
        state_.setStatusMessage(
            QStringLiteral("%1 holds at most 48000 Hz; the sample rate is now 48000 Hz.").arg(rawValue(format)));
    choices_ = next;
    emit choicesChanged();
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

void ExportSession::end(const ExportRun::Result& result) {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning (main) thread only
    isExporting_ = false;
    emit isExportingChanged();
    setProgress({0, 0});
    state_.setStatusMessage(ExportRun::describe(result));
    emit finished(result);
}

void ExportSession::start(bool useLimiter, const QString& chosenFolder, const QString& ffmpegPath) {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning (main) thread only
    if (chosenFolder.isEmpty() || isExporting_)
        return;
    const QString destination = QDir(chosenFolder).filePath(QStringLiteral("normalized"));
    ExportRun::Plan plan =
        ExportRun::buildPlan(state_.files(), destination, choices_.format, choices_.sampleRate, useLimiter);
    if (const auto replaced = ExportRun::findReplacedSource(plan, state_.files())) {
        const auto refused = ExportRun::Result::failure(*replaced);
        state_.setStatusMessage(ExportRun::describe(refused));
        emit finished(refused);
        return;
    }

    const int64_t total = plan.count();
    isExporting_ = true;
    emit isExportingChanged();
    setProgress({0, total});
    state_.setStatusMessage(QStringLiteral("Exporting %1 files...").arg(total));

    // Every change the run makes goes through the main thread; a session
    // that no longer exists is left alone.
    const QPointer<ExportSession> self(this);
    QThreadPool::globalInstance()->start([self, plan = std::move(plan), total, ffmpegPath, destination] {
        // What a killed or crashed run left behind; a live run's files are locked.
        TemporaryFiles::removeStale(destination);
        TemporaryFiles::removeStale(QDir::tempPath());
        ExportRun::Result result = ExportRun::run(plan, ffmpegPath, [self, total](int64_t k) {
            postToMainThread([self, k, total] {
                if (!self)
                    return;
                self->setProgress({k, total});
                self->state_.setStatusMessage(QStringLiteral("Exporting %1/%2...").arg(k).arg(total));
            });
        });
        postToMainThread([self, result = std::move(result)] {
            if (self)
                self->end(result);
        });
    });
}
