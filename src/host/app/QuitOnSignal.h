// Turns SIGINT and SIGTERM into an ordinary quit, so that Ctrl+C or a kill
// still lets the plug-ins leave the SDK and shut down.
#pragma once

#include <QObject>

class QSocketNotifier;

class QuitOnSignal : public QObject
{
    Q_OBJECT
public:
    explicit QuitOnSignal(QObject* parent = nullptr);
    ~QuitOnSignal() override;

signals:
    void signalled(int signal);

private:
    void onReadable();

    QSocketNotifier* m_notifier = nullptr;
};
