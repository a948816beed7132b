#pragma once

// The peak resident memory of the running process (VmHWM), in MB.

#include <QByteArray>
#include <QFile>

inline double peakResidentMB() {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0.0;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').front().toDouble() * 1024.0 / 1e6;
    return 0.0;
}
