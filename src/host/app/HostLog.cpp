#include "HostLog.h"

#include "LogFile.h"

#include <QByteArray>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <unistd.h>

namespace {
std::atomic<bool> g_echo{false};
QtMessageHandler g_previous = nullptr;
std::mutex g_stderr;

// Never destroyed: a late message (from another library's destructor at
// exit) must still find it, closed or not.
LogFile& logFile()
{
    static LogFile* file = [] {
        auto* made = new LogFile;
        // Lines of a process that ends by exit() are flushed too.
        std::atexit([] { logFile().close(); });
        return made;
    }();
    return *file;
}

void writeAll(int fd, const QByteArray& bytes)
{
    const char* data = bytes.constData();
    qsizetype left = bytes.size();
    while (left > 0) {
        const ssize_t written = ::write(fd, data, size_t(left));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        data += written;
        left -= written;
    }
}

void handler(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    logFile().append(QStringView(message));
    // Critical and fatal lines are never only in the file.
    if (g_echo.load(std::memory_order_relaxed) || type == QtCriticalMsg || type == QtFatalMsg) {
        std::lock_guard<std::mutex> lock(g_stderr);
        writeAll(STDERR_FILENO, message.toLocal8Bit() + '\n');
    }
    // Qt aborts when this returns.
    if (type == QtFatalMsg)
        logFile().flush();
}
} // namespace

bool HostLog::open(const QString& path, bool echoToStderr, QString* error)
{
    if (!logFile().open(path, error))
        return false;
    g_echo = echoToStderr;
    QtMessageHandler previous = qInstallMessageHandler(handler);
    if (previous != handler)
        g_previous = previous;
    return true;
}

void HostLog::flush()
{
    logFile().flush();
}

quint64 HostLog::fullWaits()
{
    return logFile().fullWaits();
}

void HostLog::close()
{
    qInstallMessageHandler(g_previous);
    g_previous = nullptr;
    logFile().close();
}
