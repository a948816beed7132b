#pragma once

// The table `sonivel analyze` prints: a row per file, its columns aligned
// however wide the characters of the names are.

#include "session/LoudnessReport.h"

#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

// The table: a header, then one row per file in the order given.
QString reportHeader(int nameWidth);
QString reportRow(const FileReport& report, int nameWidth);
int reportNameWidth(const QStringList& files);
