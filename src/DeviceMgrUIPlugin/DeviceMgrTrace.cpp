#include "DeviceMgrTrace.h"

#include <QTime>

namespace DeviceMgrTrace {

namespace {
char* putDigits(char* out, int value, int digits)
{
    for (int i = digits - 1; i >= 0; --i) {
        out[i] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
    return out + digits;
}
} // namespace

QByteArray now()
{
    // Several trace lines per event ask for the time: format it by hand, not
    // through the locale-aware QTime::toString or printf.
    const QTime time = QTime::currentTime();
    QByteArray text(12, Qt::Uninitialized);
    char* out = text.data();
    out = putDigits(out, time.hour(), 2);
    *out++ = ':';
    out = putDigits(out, time.minute(), 2);
    *out++ = ':';
    out = putDigits(out, time.second(), 2);
    *out++ = ':';
    putDigits(out, time.msec(), 3);
    return text;
}

} // namespace DeviceMgrTrace
