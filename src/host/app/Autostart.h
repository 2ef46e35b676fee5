// "Start at login": an XDG autostart entry (autostart/linkhost.desktop in the
// user's configuration folder) that starts linkhost hidden in the tray.
#pragma once

#include <QString>

namespace Autostart {
// $XDG_CONFIG_HOME/autostart/linkhost.desktop (~/.config when unset).
QString entryPath();
// True when the entry exists and is not switched off inside (Hidden=true).
bool isEnabled();
// Writes the entry, starting `program` with --hidden, or removes it. False
// with a message naming the file and the reason; nothing half written.
bool setEnabled(bool enabled, const QString& program, QString* error);
} // namespace Autostart
