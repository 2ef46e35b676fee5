// The IDeviceMgr operations by name, as the main menu and a scenario's
// "call" step invoke them. Each call is recorded as "call <op> = <result>"
// ("call <op>" for an operation without a result).
#pragma once

#include <QString>
#include <QStringList>

class IDeviceMgr;

namespace DeviceCalls {
QStringList operations();
bool isOperation(const QString& op);
// Invokes `op` on `manager` and records it; `result` gets the recorded
// result text: "true", "false", a number, a quoted string, or empty for an
// operation without one. An unknown operation or a null manager records
// nothing and returns false.
bool invoke(IDeviceMgr* manager, const QString& op, QString* result = nullptr);
} // namespace DeviceCalls
