#pragma once

// A message in the desktop's notification area (org.freedesktop.Notifications
// on the session bus), under Sonivel's name and icon. It is sent without
// waiting for an answer; without a bus or a notification service nothing is
// shown and nothing fails.

#include <QDBusConnection>
#include <QDBusMessage>

namespace DesktopNotification {
// The Notify call for `summary` over `body`.
QDBusMessage message(const QString& summary, const QString& body);
void show(const QString& summary, const QString& body, QDBusConnection bus = QDBusConnection::sessionBus());
} // namespace DesktopNotification
