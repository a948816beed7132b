#pragma once

// What an interrupted program leaves behind: nothing. While they are tracked,
// the program's temporary files are removed and its encoder children stopped
// when SIGINT, SIGTERM or SIGHUP ends it; the program then dies by that same
// signal, so a shell sees the usual 130 or 143. A child started through
// `prepareChild` also dies when the program does, even by SIGKILL.

#include <QByteArray>
#include <sys/types.h>

class QProcess;

namespace Interruption {

// Installs the handlers; once, at the start of main().
void installHandlers();

// A path removed by the handlers while this lives. Registration never
// allocates in the handler; beyond a few hundred live paths the rest are
// left to the next run's clean-up.
class TrackedPath {
public:
    TrackedPath() = default;
    // An empty path tracks nothing.
    explicit TrackedPath(const QByteArray& path);
    ~TrackedPath();
    TrackedPath(TrackedPath&& other) noexcept;
    TrackedPath& operator=(TrackedPath&& other) noexcept;
    TrackedPath(const TrackedPath&) = delete;
    TrackedPath& operator=(const TrackedPath&) = delete;

private:
    int slot_ = -1;
};

// Makes `process` die with the program (set before start()).
void prepareChild(QProcess& process);

// A started child stopped by the handlers while this lives.
class TrackedChild {
public:
    explicit TrackedChild(pid_t pid);
    ~TrackedChild();
    TrackedChild(const TrackedChild&) = delete;
    TrackedChild& operator=(const TrackedChild&) = delete;

private:
    int slot_ = -1;
};

} // namespace Interruption
