#pragma once

// The table `sonivel analyze` prints: a row per file, its columns aligned
// however wide the characters of the names are.

#include "session/LoudnessReport.h"

#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

// The table: a header, then one row per file in the order given, each
// named as `shownName` gives it.
QString reportHeader(int nameWidth);
QString reportRow(const FileReport& report, int nameWidth, const QString& shown);
int reportNameWidth(const QStringList& shown);
// A file's name in the table: its folders below a folder given, then its
// name ("Library/Album A/01.wav"); a file given itself, by its name only.
QString shownName(const QString& file, const QString& subfolder);
