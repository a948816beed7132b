#include "ui/SleepInhibitor.h"

#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

SleepInhibitor::SleepInhibitor(const QString& why, QDBusConnection bus, QObject* parent) : QObject(parent) {
    if (!bus.isConnected())
        return;
    // The watcher is a child: destroyed before the answer, it never calls
    // back, and a lock that arrives late is closed with the reply.
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(message(why)), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* answered) {
        const QDBusPendingReply<QDBusUnixFileDescriptor> reply = *answered;
        if (reply.isValid())
            lock_ = reply.value();
        answered->deleteLater();
    });
}

QDBusMessage SleepInhibitor::message(const QString& why) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("Inhibit"));
    call << QStringLiteral("sleep") << QStringLiteral("Sonivel") << why << QStringLiteral("block");
    return call;
}
