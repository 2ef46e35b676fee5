// One linkhost per user: the first one listens on a local socket in the
// user's runtime folder; a later one asks it to show its window and exits,
// so that two hosts never drive the same modem.
#pragma once

#include <QObject>
#include <QString>

#include <memory>

class QLocalServer;

class SingleInstance : public QObject
{
    Q_OBJECT
public:
    enum class Role
    {
        First,   // listening: this process is the one
        Second,  // another one runs and was asked to show itself
        Unknown, // neither could be settled (message says why); run anyway
    };

    explicit SingleInstance(QObject* parent = nullptr);
    ~SingleInstance() override;

    // $XDG_RUNTIME_DIR/linkhost.socket (Qt's runtime folder when unset).
    static QString socketPath();

    // Settles the role. `message` tells what happened that a person should
    // know (a stale socket removed, no socket possible), else stays empty.
    Role claim(QString* message);

signals:
    // Another linkhost asked this one to show itself.
    void activationRequested();

private:
    void onConnection();

    std::unique_ptr<QLocalServer> m_server;
};
