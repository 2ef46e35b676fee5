// The trace-log convention of the plug-in: every line starts with the time
// ("hh:mm:ss:zzz"), the source file as the product has always named it, and
// the function name, in the order the format string expects them.
//
//     qDebug("%s : %s : %s : Entered", DM_TRACE_ARGS(DeviceMgrTrace::LogicFile));
#pragma once

#include <QByteArray>
#include <QDebug>

namespace DeviceMgrTrace {

inline constexpr char LogicFile[] = "../../src/DeviceMgrUIPlugin/DeviceMgrUILogic.cpp";
inline constexpr char ServiceFile[] = "../../src/DeviceMgrUIPlugin/DeviceMgrService.cpp";
inline constexpr char PluginFile[] = "../../src/DeviceMgrUIPlugin/DeviceMgrUIPlugin.cpp";
inline constexpr char ChooserFile[] = "../../src/DeviceMgrUIPlugin/DeviceMgrChooseDevice.cpp";

// The current time as "hh:mm:ss:zzz".
QByteArray now();

} // namespace DeviceMgrTrace

// Time, file and function: the three leading arguments of a trace line.
#define DM_TRACE_ARGS(file) DeviceMgrTrace::now().constData(), file, __FUNCTION__
