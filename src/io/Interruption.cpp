#include "io/Interruption.h"

#include <QProcess>
#include <array>
#include <atomic>
#include <csignal>
#include <cstring>
#include <limits.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace Interruption {

namespace {

// Fixed tables the handlers can read without locks or allocation. A path
// slot is free (0), being written (1) or ready (2).
constexpr int pathSlots = 256;
struct PathSlot {
    std::atomic<int> state{0};
    char path[PATH_MAX];
};
std::array<PathSlot, pathSlots> paths;

constexpr int childSlots = 64;
std::array<std::atomic<pid_t>, childSlots> children{};

constexpr std::array<int, 3> handledSignals{SIGINT, SIGTERM, SIGHUP};

void onSignal(int signal) {
    for (PathSlot& slot : paths) {
        if (slot.state.load(std::memory_order_acquire) == 2)
            ::unlink(slot.path);
    }
    for (auto& child : children) {
        const pid_t pid = child.load(std::memory_order_acquire);
        if (pid > 0)
            ::kill(pid, SIGTERM);
    }
    // Die by the same signal once this handler returns.
    struct sigaction fallback {};
    fallback.sa_handler = SIG_DFL;
    sigemptyset(&fallback.sa_mask);
    ::sigaction(signal, &fallback, nullptr);
    ::kill(::getpid(), signal);
}

} // namespace

void installHandlers() {
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    for (int s : handledSignals)
        sigaddset(&action.sa_mask, s);
    for (int s : handledSignals) {
        struct sigaction previous {};
        // A signal the user's shell ignores (nohup) stays ignored.
        if (::sigaction(s, nullptr, &previous) == 0 && previous.sa_handler == SIG_IGN)
            continue;
        ::sigaction(s, &action, nullptr);
    }
}

TrackedPath::TrackedPath(const QByteArray& path) {
    if (path.isEmpty() || path.size() >= PATH_MAX)
        return;
    for (int i = 0; i < pathSlots; ++i) {
        int expected = 0;
        if (paths[i].state.compare_exchange_strong(expected, 1, std::memory_order_acq_rel)) {
            std::memcpy(paths[i].path, path.constData(), static_cast<size_t>(path.size()) + 1);
            paths[i].state.store(2, std::memory_order_release);
            slot_ = i;
            return;
        }
    }
}

TrackedPath::~TrackedPath() {
    if (slot_ >= 0)
        paths[slot_].state.store(0, std::memory_order_release);
}

TrackedPath::TrackedPath(TrackedPath&& other) noexcept : slot_(other.slot_) { other.slot_ = -1; }

TrackedPath& TrackedPath::operator=(TrackedPath&& other) noexcept {
    if (this != &other) {
        if (slot_ >= 0)
            paths[slot_].state.store(0, std::memory_order_release);
        slot_ = other.slot_;
        other.slot_ = -1;
    }
    return *this;
}

void prepareChild(QProcess& process) {
    const pid_t parent = ::getpid();
    process.setChildProcessModifier([parent] {
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != parent) // the parent died before the line above
            ::_exit(1);
    });
}

TrackedChild::TrackedChild(pid_t pid) {
    if (pid <= 0)
        return;
    for (int i = 0; i < childSlots; ++i) {
        pid_t expected = 0;
        if (children[i].compare_exchange_strong(expected, pid, std::memory_order_acq_rel)) {
            slot_ = i;
            return;
        }
    }
}

TrackedChild::~TrackedChild() {
    if (slot_ >= 0)
        children[slot_].store(0, std::memory_order_release);
}

} // namespace Interruption
