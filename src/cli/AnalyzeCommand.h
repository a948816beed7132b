#pragma once

#include "analysis/ChannelMix.h"
#include "cli/AnalysisReport.h"

#include <QStringList>
#include <QTextStream>

// `sonivel analyze [--json|--csv] [AIM OPTIONS] FILE...`: analyses the files in parallel, at most
// as many at once as there are cores, and reports them in the order given.
namespace AnalyzeCommand {

// Returns the exit status: 0 when every file was analysed, 1 when any failed,
// 2 for a usage error.
int run(const QStringList& arguments, QTextStream& out, QTextStream& err);

QString usage();

} // namespace AnalyzeCommand
