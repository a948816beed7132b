#pragma once

// The command line of `sonivel export`, read into plain options: each value
// checked against the range the window offers, and the options checked
// together (an output folder, something to export, a rate the format holds).

#include "cli/AimOptions.h"
#include "export/ExportFormat.h"

#include <QString>
#include <QStringList>
#include <optional>

// The aim options override the settings file's values, which override the defaults.
struct ExportOptions : AimOptions {
    QString out;
    ExportFormat format = ExportFormat::wav24;
    SampleRate rate = SampleRate::rate48000;
    std::optional<bool> limiter;
    bool overwrite = false;
    bool skipExisting = false; // outputs newer than their sources stay, and count as done
    QString settings;
    QStringList files;
};

// The options, none after -h or --help, or why the command line cannot be
// followed (a usage error).
Result<std::optional<ExportOptions>> parseExportArguments(const QStringList& arguments);
