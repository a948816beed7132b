#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

// What a command printed and returned.
struct CommandRun {
    int status;
    QString out;
    QString err;
};

template <typename Command> CommandRun runCommand(Command command, const QStringList& args) {
    QString out, err;
    QTextStream o(&out), e(&err);
    const int status = command(args, o, e);
    o.flush();
    e.flush();
    return {status, out, err};
}
