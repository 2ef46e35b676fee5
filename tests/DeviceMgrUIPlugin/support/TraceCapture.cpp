#include "TraceCapture.h"

#include <QCoreApplication>
#include <QMutex>
#include <QMutexLocker>
#include <QThread>

namespace {
QMutex g_mutex;
QStringList g_lines;
QStringList g_threads; // per line: "gui" or "sdk"
QStringList g_warnings;
QtMessageHandler g_previous = nullptr;

void capture(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    const QCoreApplication* app = QCoreApplication::instance();
    const bool gui = app && QThread::currentThread() == app->thread();
    QMutexLocker lock(&g_mutex);
    g_lines.append(message);
    g_threads.append(gui ? QStringLiteral("gui") : QStringLiteral("sdk"));
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

QStringList TraceCapture::threadsWriting(const QString& text) const
{
    QMutexLocker lock(&g_mutex);
    QStringList threads;
    for (qsizetype i = 0; i < g_lines.size(); ++i) {
        if (g_lines[i].contains(text) && !threads.contains(g_threads[i]))
            threads << g_threads[i];
    }
    return threads;
}

void TraceCapture::clear()
{
    QMutexLocker lock(&g_mutex);
    g_lines.clear();
    g_threads.clear();
    g_warnings.clear();
}
