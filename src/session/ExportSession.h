#pragma once

// The export as the window and the command line see it: the choices (format,
// rate, ceiling), whether a run is going and how far it is, the start of a
// run over the working list, and its cancellation. Main thread only; the
// run itself works on the job runner and hands its progress and its end to
// the owning thread, which takes them in its event loop or, without one,
// with applyNext.

#include "export/ExportFormat.h"
#include "export/ExportRun.h"
#include "jobs/JobRunner.h"
#include "session/BatchSession.h"
#include "session/Inbox.h"

#include <QObject>
#include <chrono>
#include <memory>
#include <variant>

// The format and rate of the next export (its ceiling is the list's). A format never goes with a rate
// it cannot hold (MP3 above 48 kHz).
struct ExportChoices {
    ExportFormat format = ExportFormat::wav24;
    SampleRate sampleRate = SampleRate::rate48000;
    // Sources whose output is there already and newer are left out.
    bool skipUpToDate = false;
    // The rate gives way to 48 kHz when the format cannot hold it.
    ExportChoices withFormat(ExportFormat f) const;
    // Unchanged when the format cannot hold the rate.
    ExportChoices withSampleRate(SampleRate rate) const;
    friend bool operator==(const ExportChoices&, const ExportChoices&) = default;
};

struct ExportProgress {
    int64_t current = 0; // files finished
    int64_t total = 0;
    double done = 0.0; // files finished plus the share of the running ones
    friend bool operator==(const ExportProgress&, const ExportProgress&) = default;
};

class ExportSession : public QObject {
    Q_OBJECT

public:
    // `state` gives the files; it outlives the session.
    explicit ExportSession(BatchSession& state, QObject* parent = nullptr);
    // Stops a running export and waits for its jobs; `finished` does not follow.
    ~ExportSession() override;

    const ExportChoices& choices() const { return choices_; }
    bool isExporting() const { return isExporting_; }
    ExportProgress progress() const { return progress_; }

    // A format that cannot hold the rate sets it to 48 kHz (rateLowered).
    void setFormat(ExportFormat format);
    void setSampleRate(SampleRate rate);
    void setSkipUpToDate(bool skip);

    // The settings of a run into `chosenFolder`/normalized.
    ExportSettings settingsFor(const QString& chosenFolder, bool useLimiter, ExistingOutputs existing) const;
    // The names in that folder an export now would take.
    QStringList existingOutputs(const QString& chosenFolder) const;

    // Starts a run and returns at once; `finished` follows on the main
    // thread. Nothing happens for an empty folder or while a run is going.
    void start(bool useLimiter, const QString& chosenFolder, ExistingOutputs existing);
    // Stops the running jobs; `finished` follows, with what was written.
    void cancel();
    // Waits up to `timeout` for the run's news and takes what came in, for
    // a caller without an event loop. Returns whether a run is still going.
    bool applyNext(std::chrono::milliseconds timeout);

signals:
    void choicesChanged();
    void isExportingChanged();
    void progressChanged();
    void finished(const ExportRun::Summary& summary);
    // The new format does not hold the rate, which was set to 48 kHz.
    void rateLowered(ExportFormat format);
    // A cancel was asked for; `finished` follows once the jobs stopped.
    void cancelling();

private:
    void setProgress(ExportProgress progress);
    void choose(const ExportChoices& next);
    // Takes the progress and the end the run handed in.
    void applyArrived();
    void end(const ExportRun::Summary& summary);

    // What the run hands in: its progress and, last, its summary.
    using News = std::variant<ExportProgress, ExportRun::Summary>;

    BatchSession& state_;
    std::shared_ptr<Inbox<News>> inbox_;
    ExportChoices choices_;
    bool isExporting_ = false;
    ExportProgress progress_;
    JobRunner::Batch run_;
};
