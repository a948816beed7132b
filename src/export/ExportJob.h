#pragma once

#include "analysis/ChannelMix.h"
#include "analysis/NormalizeBy.h"

// One file's export as the pipeline takes it, and the choices the whole
// batch shares. Copies, taken when the export starts: the user may go on
// editing while it runs.

#include "editing/SegmentEditRecords.h"
#include "export/CeilingRange.h"
#include "export/ExportFormat.h"

#include <QString>
#include <optional>

// What to do with an output name that already exists in the folder.
enum class ExistingOutputs {
    keepBoth, // the new file gets a name of its own: "Song (2) (-16LUFS).wav"
    replace,  // the new file takes the name; the old one goes
    skip,     // the file is not exported; the old one stays
};

struct ExportSettings {
    QString destinationFolder;
    ExportFormat format = ExportFormat::wav24;
    SampleRate sampleRate = SampleRate::rate48000;
    bool useLimiter = true;
    double ceilingDBTP = CeilingRange::defaultDBTP;
    ExistingOutputs existing = ExistingOutputs::skip;
    // Outputs are measured as their sources were.
    ChannelMix channelMix = ChannelMix::sum;
    // Names promise, and outputs are held to, this figure.
    NormalizeBy normalizeBy = NormalizeBy::loudest;
    // A source whose output is there already and newer is not exported
    // again; the run counts it as up to date, not as a failure.
    bool skipUpToDate = false;
};

struct ExportJob {
    QString sourcePath;
    // The output's name before its figure, distinct within its folder, with
    // that folder in front ("Rock/Album/01").
    QString stem;
    double correctionDB = 0.0;
    // The loudness the name promises: the correction plus the source's figure.
    double promisedLUFS = 0.0;
    // Every block of the source lies under the absolute gate: it is
    // exported as it is, without gain.
    bool isSilent = false;
    // Only for a file with segment edits; its promise is then the figure of
    // its edited signal.
    std::optional<SegmentEditSnapshot> segmentEdits;
    // The folders between the destination and the output ("Rock/Album"),
    // which mirror the source's; empty for the destination itself.
    QString subfolder;
    // What "Same as source" chose for this file: its format, and for an
    // MP3 its bit rate (0: the format's own).
    std::optional<ExportFormat> format = {};
    int64_t bitRate = 0;
};

// The batch's settings as they apply to one job: its own format, at the
// nearest rate that format holds.
inline ExportSettings settingsFor(const ExportJob& job, ExportSettings settings) {
    // A job "Same as source" found no format for is written as FLAC.
    const ExportFormat format =
        job.format.value_or(settings.format == ExportFormat::same ? ExportFormat::flac : settings.format);
    settings.format = format;
    settings.sampleRate = heldRate(format, settings.sampleRate);
    return settings;
}
