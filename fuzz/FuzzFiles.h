#pragma once

// What the fuzz targets share: a file made from the input, in memory-backed
// temporary space where there is one, removed when the input is done.

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

class FuzzFile {
public:
    FuzzFile(const QString& extension, const QByteArray& bytes) {
        static const QString folder = QDir("/dev/shm").exists() ? QStringLiteral("/dev/shm") : QDir::tempPath();
        path_ = QStringLiteral("%1/sonivel-fuzz-%2.%3").arg(folder).arg(::getpid()).arg(extension);
        QFile file(path_);
        if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            file.write(bytes);
    }
    ~FuzzFile() { QFile::remove(path_); }
    FuzzFile(const FuzzFile&) = delete;
    FuzzFile& operator=(const FuzzFile&) = delete;

    const QString& path() const { return path_; }

private:
    QString path_;
};

// Stops the run with a finding: libFuzzer saves the input that got here.
[[noreturn]] inline void finding(const char* what) {
    fprintf(stderr, "finding: %s\n", what);
    abort();
}
