// Where trace lines go: every qDebug/qWarning line to the log file in the
// user data folder (mode 0600, since a line may carry a PIN), and to stderr
// only when asked.
#pragma once

#include <QString>

namespace HostLog {
// Opens (creating with mode 0600, or tightening an existing file to it) and
// installs the message handler. False with a reason when the file cannot
// be opened; the handler is not installed then.
bool open(const QString& path, bool echoToStderr, QString* error);
// Restores Qt's handler and closes the file.
void close();
} // namespace HostLog
