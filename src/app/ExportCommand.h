#pragma once

#include <QStringList>
#include <QTextStream>

// `sonivel export --out DIR [options] FILE...`: analyses the files, corrects
// them towards the target (or as a settings file says), runs the clipping
// check and exports into DIR/normalized, with progress on standard error.
namespace ExportCommand {

// Exit status: 0 when every file was exported, 1 on the first error (a file
// that cannot be analysed, a settings file that cannot be read, an export
// error), 2 for a usage error. An empty `ffmpegPath` looks for the encoder.
int run(const QStringList& arguments, QTextStream& out, QTextStream& err, const QString& ffmpegPath = QString());

QString usage();

} // namespace ExportCommand
