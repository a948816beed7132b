#include "ui/TaskbarProgress.h"

#include <QDBusConnection>
#include <QVariantMap>
#include <algorithm>

namespace TaskbarProgress {

QDBusMessage message(std::optional<double> share) {
    QDBusMessage signal =
        QDBusMessage::createSignal(QStringLiteral("/com/canonical/unity/launcherentry/sonivel"),
                                   QStringLiteral("com.canonical.Unity.LauncherEntry"), QStringLiteral("Update"));
    QVariantMap properties;
    properties.insert(QStringLiteral("progress-visible"), share.has_value());
    properties.insert(QStringLiteral("progress"), std::clamp(share.value_or(0.0), 0.0, 1.0));
    signal << QStringLiteral("application://sonivel.desktop") << properties;
    return signal;
}

void show(std::optional<double> share) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected())
        bus.send(message(share));
}

} // namespace TaskbarProgress
