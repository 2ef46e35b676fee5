#include "DeviceMgrTrace.h"

#include <QString>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace DeviceMgrTrace {

namespace {
char* putDigits(char* out, long value, int digits)
{
    for (int i = digits - 1; i >= 0; --i) {
        out[i] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
    return out + digits;
}

void output(QtMsgType type, const char* format, va_list arguments)
{
    char line[512];
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(line, sizeof line, format, arguments);
    if (length < 0) {
        va_end(again);
        return;
    }
    if (size_t(length) < sizeof line) {
        qt_message_output(type, QMessageLogContext(), QString::fromUtf8(line, length));
    } else {
        QByteArray longer(length, Qt::Uninitialized);
        std::vsnprintf(longer.data(), size_t(length) + 1, format, again);
        qt_message_output(type, QMessageLogContext(), QString::fromUtf8(longer));
    }
    va_end(again);
}
} // namespace

void debug(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    output(QtDebugMsg, format, arguments);
    va_end(arguments);
}

void warning(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    output(QtWarningMsg, format, arguments);
    va_end(arguments);
}

Stamp now()
{
    // Several trace lines per event ask for the time, and the toolkit's
    // local time costs microseconds a call: read the wall clock and work out
    // hours, minutes and seconds once a second per thread. tzset() then also
    // notices a change of the system's time zone.
    timespec clock = {};
    clock_gettime(CLOCK_REALTIME, &clock);
    thread_local time_t cachedSecond = -1;
    thread_local char hms[8];
    if (clock.tv_sec != cachedSecond) {
        tzset();
        tm local = {};
        localtime_r(&clock.tv_sec, &local);
        char* out = putDigits(hms, local.tm_hour, 2);
        *out++ = ':';
        out = putDigits(out, local.tm_min, 2);
        *out++ = ':';
        putDigits(out, local.tm_sec, 2);
        cachedSecond = clock.tv_sec;
    }
    Stamp stamp;
    std::memcpy(stamp.text, hms, sizeof hms);
    stamp.text[8] = ':';
    putDigits(stamp.text + 9, clock.tv_nsec / 1000000, 3);
    stamp.text[12] = '\0';
    return stamp;
}

} // namespace DeviceMgrTrace
