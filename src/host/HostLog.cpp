#include "HostLog.h"

#include <QByteArray>
#include <QFile>
#include <QMutex>
#include <QMutexLocker>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
QMutex g_mutex;
int g_fd = -1;
bool g_echo = false;
QtMessageHandler g_previous = nullptr;

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
    const QByteArray line = message.toLocal8Bit() + '\n';
    QMutexLocker lock(&g_mutex);
    if (g_fd >= 0)
        writeAll(g_fd, line);
    // Critical and fatal lines are never only in the file.
    if (g_echo || type == QtCriticalMsg || type == QtFatalMsg)
        writeAll(STDERR_FILENO, line);
}
} // namespace

bool HostLog::open(const QString& path, bool echoToStderr, QString* error)
{
    const QByteArray name = QFile::encodeName(path);
    const int fd = ::open(name.constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (fd < 0) {
        *error = QStringLiteral("cannot open %1: %2")
                     .arg(path, QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    // An older file may have been readable by others.
    if (::fchmod(fd, 0600) != 0) {
        *error = QStringLiteral("cannot restrict %1: %2")
                     .arg(path, QString::fromLocal8Bit(std::strerror(errno)));
        ::close(fd);
        return false;
    }
    {
        QMutexLocker lock(&g_mutex);
        if (g_fd >= 0)
            ::close(g_fd);
        g_fd = fd;
        g_echo = echoToStderr;
    }
    QtMessageHandler previous = qInstallMessageHandler(handler);
    if (previous != handler)
        g_previous = previous;
    return true;
}

void HostLog::close()
{
    qInstallMessageHandler(g_previous);
    g_previous = nullptr;
    QMutexLocker lock(&g_mutex);
    if (g_fd >= 0)
        ::close(g_fd);
    g_fd = -1;
}
