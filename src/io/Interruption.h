#pragma once

// What an interrupted program leaves behind: nothing. While they are tracked,
// the program's temporary files are removed and its encoder children stopped
// when SIGINT, SIGTERM or SIGHUP ends it; the program then dies by that same
// signal, so a shell sees the usual 130 or 143. A child started through
// `prepareChild` also dies when the program does, even by SIGKILL.

#include <QByteArray>
#include <atomic>
#include <sys/types.h>

class QProcess;

namespace Interruption {

// Installs the handlers; once, at the start of main().
void installHandlers();

// A path removed by the handlers while this lives. Made before the file:
// a handler that runs while another thread makes it waits for `created`, so
// that no file is made after the handlers removed theirs. Beyond a few
// hundred live paths the rest are left to the next run's clean-up.
class TrackedPath {
public:
    TrackedPath() = default;
    // An empty path tracks nothing.
    explicit TrackedPath(const QByteArray& path);
    ~TrackedPath();
    // The program is being stopped: make no file.
    bool refused() const { return refused_; }
    // The file is made; a failed attempt just lets this go.
    void created();
    TrackedPath(TrackedPath&& other) noexcept;
    TrackedPath& operator=(TrackedPath&& other) noexcept;
    TrackedPath(const TrackedPath&) = delete;
    TrackedPath& operator=(const TrackedPath&) = delete;

private:
    void release();

    int slot_ = -1;
    bool refused_ = false;
};

// While this lives, the first SIGINT, SIGTERM or SIGHUP does not end the
// program: it sets `flag`, for the work in progress to stop in its own time
// and clean up after itself. A second signal ends the program as usual.
class Cancelling {
public:
    explicit Cancelling(std::atomic<bool>& flag);
    ~Cancelling();
    // The signal that asked to stop; 0 when none did.
    int signal() const;
    Cancelling(const Cancelling&) = delete;
    Cancelling& operator=(const Cancelling&) = delete;
};

// Whether the work in progress is asked to stop, for work that has no flag
// of its own to look at: by a signal while a Cancelling lives, or since
// `requestStop` (the window has closed and the program is ending).
bool cancelRequested();
void requestStop();

// Makes `process` die with the program (set before start()). The child
// inherits `passedDescriptor`, when there is one, open across its start.
void prepareChild(QProcess& process, int passedDescriptor = -1);

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
