#pragma once

// The export as the window and the command line see it: the choices (format
// and rate), whether a run is going and how far it is, and the start of a
// run over the working list. Main thread only; the run itself works on a
// pool thread and reports back by posting to the main thread.

#include "export/ExportFormat.h"
#include "export/ExportRun.h"
#include "list/AppState.h"

#include <QObject>
#include <QPointer>

// The format and rate of the next export. A format never goes with a rate
// it cannot hold (MP3 above 48 kHz).
struct ExportChoices {
    ExportFormat format = ExportFormat::wav24;
    SampleRate sampleRate = SampleRate::rate48000;
    // The rate gives way to 48 kHz when the format cannot hold it.
    ExportChoices withFormat(ExportFormat f) const;
    // Unchanged when the format cannot hold the rate.
    ExportChoices withSampleRate(SampleRate rate) const;
    friend bool operator==(const ExportChoices&, const ExportChoices&) = default;
};

struct ExportProgress {
    int64_t current = 0;
    int64_t total = 0;
    friend bool operator==(const ExportProgress&, const ExportProgress&) = default;
};

class ExportSession : public QObject {
    Q_OBJECT

public:
    // `state` gives the files and shows the run in its status line; it
    // outlives the session.
    explicit ExportSession(AppState& state, QObject* parent = nullptr);

    const ExportChoices& choices() const { return choices_; }
    bool isExporting() const { return isExporting_; }
    ExportProgress progress() const { return progress_; }

    // A format change that moves the rate says so in the status line.
    void setFormat(ExportFormat format);
    void setSampleRate(SampleRate rate);

    // Starts a run into `chosenFolder`/normalized and returns at once;
    // `finished` follows on the main thread (at once when an output would
    // replace a source; never for an empty folder, a cancelled chooser). An
    // empty `ffmpegPath` looks for the encoder; tests pass their own.
    void start(bool useLimiter, const QString& chosenFolder, const QString& ffmpegPath = QString());

signals:
    void choicesChanged();
    void isExportingChanged();
    void progressChanged();
    void finished(const ExportRun::Result& result);

private:
    void setProgress(ExportProgress progress);
    void end(const ExportRun::Result& result);

    AppState& state_;
    ExportChoices choices_;
    bool isExporting_ = false;
    ExportProgress progress_;
};
