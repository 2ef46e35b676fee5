#include "QuitOnSignal.h"

#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {
// A signal handler may only write to a pipe; the event loop reads it.
int g_pipe[2] = {-1, -1};

void onSignal(int signal)
{
    const char byte = char(signal);
    [[maybe_unused]] const ssize_t written = ::write(g_pipe[1], &byte, 1);
}
} // namespace

QuitOnSignal::QuitOnSignal(QObject* parent) : QObject(parent)
{
    if (::pipe2(g_pipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        qWarning("linkhost: no quit on signals: cannot create a pipe");
        return;
    }
    m_notifier = new QSocketNotifier(g_pipe[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &QuitOnSignal::onReadable);
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
}

QuitOnSignal::~QuitOnSignal()
{
    if (!m_notifier)
        return;
    ::signal(SIGINT, SIG_DFL);
    ::signal(SIGTERM, SIG_DFL);
    ::close(g_pipe[0]);
    ::close(g_pipe[1]);
    g_pipe[0] = g_pipe[1] = -1;
}

void QuitOnSignal::onReadable()
{
    char byte = 0;
    while (::read(g_pipe[0], &byte, 1) == 1)
        emit signalled(int(byte));
}
