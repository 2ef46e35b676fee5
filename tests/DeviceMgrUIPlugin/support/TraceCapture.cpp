#include "TraceCapture.h"

#include <QMutex>
#include <QMutexLocker>

namespace {
QMutex g_mutex;
QStringList g_lines;
QStringList g_warnings;
QtMessageHandler g_previous = nullptr;

void capture(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    QMutexLocker lock(&g_mutex);
    g_lines.append(message);
    if (type == QtWarningMsg)
        g_warnings.append(message);
}
} // namespace

TraceCapture::TraceCapture()
{
    clear();
    g_previous = qInstallMessageHandler(capture);
}

TraceCapture::~TraceCapture()
{
    qInstallMessageHandler(g_previous);
}

QStringList TraceCapture::lines() const
{
    QMutexLocker lock(&g_mutex);
    return g_lines;
}

QStringList TraceCapture::warnings() const
{
    QMutexLocker lock(&g_mutex);
    return g_warnings;
}

QStringList TraceCapture::matching(const QString& text) const
{
    return lines().filter(text);
}

void TraceCapture::clear()
{
    QMutexLocker lock(&g_mutex);
    g_lines.clear();
    g_warnings.clear();
}
