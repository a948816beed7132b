#pragma once

// One run of the external encoder, waited for on the calling (worker) thread.

#include <QFile>
#include <QString>
#include <QStringList>

struct EncoderRun {
    int exitCode = 0;
    QString errorOutput; // what it wrote to standard error, read while it ran
};

namespace EncoderProcess {

// Starts `program` with `arguments` (never through a shell) and waits for it.
// Standard error is read as it arrives, so a chatty encoder never stalls on a
// full pipe; standard output is discarded. A crash comes back as exit code
// -1. Throws SystemError when the program cannot be started.
EncoderRun run(const QString& program, const QStringList& arguments);

} // namespace EncoderProcess

// Helpers for files the export writes, throwing SystemError with the system's words.
namespace ExportFiles {

// Removes a file the export made for itself on every way out, unless kept.
class TemporaryFile {
public:
    explicit TemporaryFile(QString path) : path_(std::move(path)) {}
    ~TemporaryFile() {
        if (!path_.isEmpty())
            QFile::remove(path_);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    const QString& path() const { return path_; }
    // Deletes it now; throws SystemError when that fails.
    void remove();
    // Keeps it: it has become a result.
    void release() { path_.clear(); }

private:
    QString path_;
};

void makeFolder(const QString& path);
void remove(const QString& path);
void move(const QString& from, const QString& to);


} // namespace ExportFiles
