#pragma once

#include <QStringList>
#include <QTextStream>

// `sonivel tag [--album] [--dry-run] [--remove] [--skip-existing]
// [--keep-time] FILE|DIR...`: writes ReplayGain 2.0 tags (R128 gains in
// Opus files) into the files themselves, from their integrated loudness and
// true peak, and with --album those of their album as one programme. The one
// command that changes listed files: their tags only, never their audio.
namespace TagCommand {

// A file that cannot be measured or tagged is named with its reason and the
// others go on. Exit status: 0 when every file was tagged (or would be), 1
// when any was not, 2 for a usage error.
int run(const QStringList& arguments, QTextStream& out, QTextStream& err);

QString usage();

} // namespace TagCommand
