#pragma once

// The `sonivel` program's commands, without a window: help, version,
// `analyze` and `export`.

#include <QString>
#include <QStringList>
#include <QTextStream>

namespace CommandLine {

// A first argument that names a command or is an option runs the command
// line; anything else is a file for the window.
bool isCommand(const QString& firstArgument);

// Runs the command `arguments` name (the program's name left out) and
// returns the exit status.
int run(QStringList arguments, QTextStream& out, QTextStream& err);

} // namespace CommandLine
