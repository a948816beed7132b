#pragma once

#include <QStringList>
#include <QTextStream>

// `sonivel export --out DIR [options] FILE...`: analyses the files, corrects
// them towards the target (or as a settings file says), runs the clipping
// check and exports into DIR/normalized, with progress on standard error.
namespace ExportCommand {

// A file that cannot be found, analysed or exported is named with its reason
// and the others go on. Exit status: 0 when every file was exported, 1 when
// any was not (or a settings file cannot be read), 2 for a usage error.
int run(const QStringList& arguments, QTextStream& out, QTextStream& err);

QString usage();

} // namespace ExportCommand
