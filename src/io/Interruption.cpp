#include "io/Interruption.h"

#include <QProcess>
#include <array>
#include <atomic>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <limits.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace Interruption {

namespace {

// Fixed tables the handlers can read without locks or allocation. A path
// slot belongs to the thread whose id is its owner (0: free); its file is
// not yet made (0), being made (1) or made (2).
constexpr int pathSlots = 256;
struct PathSlot {
    std::atomic<pid_t> owner{0};
    std::atomic<int> state{0};
    char path[PATH_MAX];
};
std::array<PathSlot, pathSlots> paths;
std::atomic<bool> stopping{false};

constexpr int childSlots = 64;
std::array<std::atomic<pid_t>, childSlots> children{};

// Where the first signal goes while a `Cancelling` lives, and which one came.
std::atomic<std::atomic<bool>*> cancelFlag{nullptr};
std::atomic<int> cancelSignal{0};
std::atomic<bool> stopRequested{false};

constexpr std::array<int, 3> handledSignals{SIGINT, SIGTERM, SIGHUP};

// Removes every tracked file. A file another thread is making at this moment
// is waited for (a second at most) and then removed too; a thread that
// claims a slot from now on sees `stopping` and makes nothing.
void removeTrackedFiles() {
    stopping.store(true);
    const pid_t self = ::gettid();
    for (PathSlot& slot : paths) {
        const pid_t owner = slot.owner.load();
        if (owner == 0)
            continue;
        const struct timespec millisecond { 0, 1000000 };
        for (int waited = 0; owner != self && waited < 1000 && slot.owner.load() == owner && slot.state.load() != 2;
             ++waited)
            ::nanosleep(&millisecond, nullptr);
        if (slot.owner.load() == owner && slot.state.load() > 0)
            ::unlink(slot.path);
    }
}

void onSignal(int signal) {
    std::atomic<bool>* flag = cancelFlag.load();
    if (flag != nullptr && cancelSignal.exchange(signal) == 0) {
        flag->store(true);
        return;
    }
    removeTrackedFiles();
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
    const pid_t self = ::gettid();
    for (int i = 0; i < pathSlots; ++i) {
        pid_t expected = 0;
        if (paths[i].owner.compare_exchange_strong(expected, self)) {
            slot_ = i;
            // Claimed before this look, so a handler that began meanwhile
            // has either seen the slot or is seen here.
            if (stopping.load()) {
                release();
                refused_ = true;
                return;
            }
            std::memcpy(paths[i].path, path.constData(), static_cast<size_t>(path.size()) + 1);
            paths[i].state.store(1);
            return;
        }
    }
}

void TrackedPath::created() {
    if (slot_ >= 0)
        paths[slot_].state.store(2);
}

void TrackedPath::release() {
    if (slot_ < 0)
        return;
    paths[slot_].state.store(0);
    paths[slot_].owner.store(0);
    slot_ = -1;
}

TrackedPath::~TrackedPath() { release(); }

TrackedPath::TrackedPath(TrackedPath&& other) noexcept : slot_(other.slot_), refused_(other.refused_) {
    other.slot_ = -1;
}

TrackedPath& TrackedPath::operator=(TrackedPath&& other) noexcept {
    if (this != &other) {
        release();
        slot_ = other.slot_;
        refused_ = other.refused_;
        other.slot_ = -1;
    }
    return *this;
}

Cancelling::Cancelling(std::atomic<bool>& flag) {
    cancelSignal.store(0);
    cancelFlag.store(&flag);
}

Cancelling::~Cancelling() { cancelFlag.store(nullptr); }

int Cancelling::signal() const { return cancelSignal.load(); }

bool cancelRequested() { return stopRequested.load() || (cancelFlag.load() != nullptr && cancelSignal.load() != 0); }

void requestStop() { stopRequested.store(true); }

void prepareChild(QProcess& process, int passedDescriptor) {
    const pid_t parent = ::getpid();
    process.setChildProcessModifier([parent, passedDescriptor] {
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != parent) // the parent died before the line above
            ::_exit(1);
        // Cleared in the child's copy of the table only.
        if (passedDescriptor >= 0)
            ::fcntl(passedDescriptor, F_SETFD, 0);
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
