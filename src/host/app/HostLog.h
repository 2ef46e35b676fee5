// Where trace lines go: every qDebug/qWarning line to the log file in the
// user data folder (mode 0600, since a line may carry a PIN; written by a
// thread of its own, see LogFile), and to stderr only when asked.
#pragma once

#include <QString>

namespace HostLog {
// Opens (creating with mode 0600, or tightening an existing file to it) and
// installs the message handler. False with a reason when the file cannot
// be opened; the handler is not installed then.
bool open(const QString& path, bool echoToStderr, QString* error);
// Returns once every line traced so far is in the file.
void flush();
// How often a tracing thread had to wait for room in the log's buffer.
quint64 fullWaits();
// Restores Qt's handler, writes out what is left and closes the file.
void close();
} // namespace HostLog
