#pragma once

// A stand-in for the encoder: a script that records each run's arguments
// (a descriptor path as the file it names, so only when it was inherited)
// and exits as told, optionally writing to standard error first (where
// ${last} is the last argument, the file it would write).

#include "support/AudioFixtures.h"

#include <QDir>
#include <QFile>
#include <QList>
#include <QStringList>

struct FakeFFmpeg {
    QString path;
    QString log;

    FakeFFmpeg(const QString& dir, int exitCode = 0, const QString& errorText = QString()) {
        log = QDir(dir).filePath("ffmpeg-runs.log");
        QString body = QStringLiteral("for a in \"$@\"; do case $a in /proc/self/fd/*) readlink \"$a\";; *) printf "
                                      "'%s\\n' \"$a\";; esac; done >> '%1'\n"
                                      "echo '--end--' >> '%1'\n")
                           .arg(log);
        if (!errorText.isEmpty())
            body += QStringLiteral("for last; do :; done\nprintf '%s' \"%1\" >&2\n").arg(errorText);
        body += QStringLiteral("exit %1").arg(exitCode);
        path = fixtures::writeScript(dir, "fake-ffmpeg", body);
    }

    // The arguments of every run, in order.
    QList<QStringList> runs() const {
        QFile f(log);
        QList<QStringList> out;
        if (!f.open(QIODevice::ReadOnly))
            return out;
        QStringList current;
        for (const QByteArray& line : f.readAll().split('\n')) {
            if (line == "--end--") {
                out << current;
                current.clear();
            } else if (!line.isEmpty()) {
                current << QString::fromUtf8(line);
            }
        }
        return out;
    }
};
