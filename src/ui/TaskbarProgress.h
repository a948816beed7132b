#pragma once

// An export's progress on the application's taskbar entry, where the desktop
// draws one: the launcher-entry signal that KDE's task manager and GNOME's
// docks listen for on the session bus, naming the application by its
// desktop file, sonivel.desktop. Without a session bus nothing is shown and
// nothing fails.

#include <QDBusMessage>
#include <optional>

namespace TaskbarProgress {
// The signal that shows `share` (0 to 1) of a run, or takes the bar away
// (nullopt).
QDBusMessage message(std::optional<double> share);
// Sends it.
void show(std::optional<double> share);
} // namespace TaskbarProgress
