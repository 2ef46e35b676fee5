// The trace-log convention of the plug-in: every line starts with the time
// ("hh:mm:ss:zzz"), the source file as the product has always named it, and
// the function name, in the order the format string expects them.
//
//     DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(DeviceMgrTrace::LogicFile));
//
// DM_DEBUG and DM_WARNING write a line as qDebug and qWarning would, through
// the application's message handler, but format it with the C library's
// printf: the toolkit's own formatting costs several times as much, and each
// SDK event writes about five lines.
#pragma once

#include <QByteArray>
#include <QDebug>

namespace DeviceMgrTrace {

inline constexpr char LogicFile[] = "../../src/DeviceMgrUIPlugin/DeviceMgrUILogic.cpp";
inline constexpr char ServiceFile[] = "../../src/DeviceMgrUIPlugin/DeviceMgrService.cpp";
inline constexpr char PluginFile[] = "../../src/DeviceMgrUIPlugin/DeviceMgrUIPlugin.cpp";
inline constexpr char ChooserFile[] = "../../src/DeviceMgrUIPlugin/DeviceMgrChooseDevice.cpp";

// "hh:mm:ss:zzz", valid for the full expression that asked for it.
struct Stamp
{
    char text[13];
    const char* constData() const { return text; }
};

// The current local time.
Stamp now();

void debug(const char* format, ...) Q_ATTRIBUTE_FORMAT_PRINTF(1, 2);
void warning(const char* format, ...) Q_ATTRIBUTE_FORMAT_PRINTF(1, 2);

} // namespace DeviceMgrTrace

#define DM_DEBUG DeviceMgrTrace::debug
#define DM_WARNING DeviceMgrTrace::warning

// Time, file and function: the three leading arguments of a trace line.
#define DM_TRACE_ARGS(file) DeviceMgrTrace::now().constData(), file, __FUNCTION__
