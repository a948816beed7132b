#pragma once

// Keeps the computer from going to sleep while it lives: logind's "sleep"
// lock on the system bus, asked for without waiting and given back when
// this is destroyed (the lock is a file descriptor that logind watches).
// Without a bus or logind, or when refused, nothing is held and nothing
// fails.

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <QObject>

class SleepInhibitor : public QObject {
public:
    // `why` is what the desktop shows when something tries to suspend.
    explicit SleepInhibitor(const QString& why, QDBusConnection bus = QDBusConnection::systemBus(),
                            QObject* parent = nullptr);

    // logind's Inhibit call for a "sleep" lock that blocks.
    static QDBusMessage message(const QString& why);
    bool isHeld() const { return lock_.isValid(); }

private:
    QDBusUnixFileDescriptor lock_;
};
