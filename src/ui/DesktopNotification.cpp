#include "ui/DesktopNotification.h"

#include <QVariantMap>

namespace DesktopNotification {

QDBusMessage message(const QString& summary, const QString& body) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("/org/freedesktop/Notifications"),
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
    // The desktop entry lets the desktop group it with the window and show its icon.
    const QVariantMap hints{{QStringLiteral("desktop-entry"), QStringLiteral("sonivel")}};
    call << QStringLiteral("Sonivel") << 0u << QStringLiteral("sonivel") << summary << body << QStringList() << hints
         << -1;
    return call;
}

void show(const QString& summary, const QString& body, QDBusConnection bus) {
    if (bus.isConnected())
        bus.send(message(summary, body)); // the answer, the notification's number, is not needed
}

} // namespace DesktopNotification
