#include "SingleInstance.h"

#include <QDir>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>

namespace {
constexpr int ConnectTimeoutMs = 1000;
constexpr int ReplyTimeoutMs = 2000;
const char Request[] = "show\n";
const char Reply[] = "ok\n";
} // namespace

SingleInstance::SingleInstance(QObject* parent) : QObject(parent) {}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::socketPath()
{
    QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (folder.isEmpty())
        folder = QDir::tempPath();
    return QDir(folder).filePath(QStringLiteral("linkhost.socket"));
}

SingleInstance::Role SingleInstance::claim(QString* message)
{
    const QString path = socketPath();
    QLocalSocket other;
    other.connectToServer(path);
    if (other.waitForConnected(ConnectTimeoutMs)) {
        other.write(Request);
        other.flush();
        // The first one answers once it has shown its window; one that is
        // stuck still counts as running.
        if (!other.waitForReadyRead(ReplyTimeoutMs) || other.readLine() != Reply)
            *message = QStringLiteral("linkhost is already running but did not answer");
        return Role::Second;
    }
    if (QFileInfo::exists(path)) {
        // Nobody answered on it, yet the file is there: left by a linkhost
        // that crashed.
        QLocalServer::removeServer(path);
        *message = QStringLiteral("removed the socket %1 left by a linkhost that ended "
                                  "without closing it")
                       .arg(path);
    }
    m_server = std::make_unique<QLocalServer>();
    // Only this user may ask us to do anything.
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    m_server->listen(path);
    if (!m_server->isListening()) {
        *message =
            QStringLiteral("cannot listen on %1 (%2): a second linkhost will not find this one")
                .arg(path, m_server->errorString());
        m_server.reset();
        return Role::Unknown;
    }
    connect(m_server.get(), &QLocalServer::newConnection, this, &SingleInstance::onConnection);
    return Role::First;
}

void SingleInstance::onConnection()
{
    while (QLocalSocket* socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            // Anything longer than the one request is not ours to wait for.
            if (!socket->canReadLine() && socket->bytesAvailable() < qint64(sizeof(Request)))
                return;
            if (socket->readLine() == Request) {
                emit activationRequested();
                socket->write(Reply);
                socket->flush();
            }
            socket->disconnectFromServer();
        });
    }
}
