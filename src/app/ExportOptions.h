#pragma once

// The command line of `sonivel export`, read into plain options: each value
// checked against the range the window offers, and the options checked
// together (an output folder, something to export, a rate the format holds).

#include "analysis/ChannelMix.h"
#include "analysis/NormalizeBy.h"
#include "export/ExportFormat.h"

#include <QString>
#include <QStringList>
#include <optional>

struct ExportOptions {
    QString out;
    std::optional<double> target;
    ExportFormat format = ExportFormat::wav24;
    SampleRate rate = SampleRate::rate48000;
    std::optional<bool> limiter;
    std::optional<double> ceiling;          // else the settings file's, else the default
    std::optional<ChannelMix> channels;     // likewise
    std::optional<NormalizeBy> normalizeBy; // likewise
    bool overwrite = false;
    QString settings;
    QStringList files;
};

struct ParsedExportArguments {
    std::optional<ExportOptions> options; // none after -h/--help or a usage error
    QString error;                        // why the command line cannot be followed
    bool help = false;
};

ParsedExportArguments parseExportArguments(const QStringList& arguments);
