#pragma once

// The real program, started as a user starts it from a shell: its own
// temporary folder, SIGINT and SIGTERM at their defaults, output discarded.

#include <QByteArray>
#include <QFile>
#include <QStringList>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <vector>

extern char** environ;

class SonivelProcess {
public:
    SonivelProcess(const QStringList& args, const QString& temporaryFolder) {
        std::vector<std::string> words{SONIVEL_BINARY};
        for (const QString& a : args)
            words.push_back(a.toStdString());
        std::vector<char*> argv;
        for (std::string& w : words)
            argv.push_back(w.data());
        argv.push_back(nullptr);
        std::vector<std::string> env{"TMPDIR=" + temporaryFolder.toStdString()};
        for (char** e = environ; *e; ++e)
            if (std::string(*e).rfind("TMPDIR=", 0) != 0)
                env.emplace_back(*e);
        std::vector<char*> envp;
        for (std::string& e : env)
            envp.push_back(e.data());
        envp.push_back(nullptr);

        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&files, 2, "/dev/null", O_WRONLY, 0);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGINT);
        sigaddset(&defaults, SIGTERM);
        posix_spawnattr_setsigdefault(&attributes, &defaults);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
        if (posix_spawn(&pid_, argv[0], &files, &attributes, argv.data(), envp.data()) != 0)
            pid_ = -1;
        posix_spawn_file_actions_destroy(&files);
        posix_spawnattr_destroy(&attributes);
    }
    ~SonivelProcess() {
        if (pid_ > 0 && !ended_) {
            ::kill(pid_, SIGKILL);
            wait();
        }
    }
    SonivelProcess(const SonivelProcess&) = delete;
    SonivelProcess& operator=(const SonivelProcess&) = delete;

    bool started() const { return pid_ > 0; }
    void signal(int s) const { ::kill(pid_, s); }
    // Waits for the end; the wait status.
    int wait() {
        if (!ended_) {
            while (::waitpid(pid_, &status_, 0) < 0 && errno == EINTR) {
            }
            ended_ = true;
        }
        return status_;
    }

private:
    pid_t pid_ = -1;
    int status_ = 0;
    bool ended_ = false;
};
