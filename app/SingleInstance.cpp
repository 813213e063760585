#include "SingleInstance.h"

#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLoggingCategory>
#include <QStandardPaths>

#include <unistd.h>

Q_LOGGING_CATEGORY(lcInstance, "pellmora.instance")

namespace {

const QByteArray kActivate = QByteArrayLiteral("activate\n");

} // namespace

SingleInstance::SingleInstance(QString socketPath, QObject *parent)
    : QObject(parent), m_path(socketPath.isEmpty() ? defaultSocketPath() : std::move(socketPath))
{
}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::defaultSocketPath()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty() && QDir(runtime).exists())
        return QDir(runtime).filePath(QStringLiteral("pellmora.socket"));
    // Without a runtime folder the socket name carries the user id, so two
    // users on one machine do not find each other.
    return QDir(QDir::tempPath())
        .filePath(QStringLiteral("pellmora-%1.socket").arg(static_cast<qulonglong>(::getuid())));
}

bool SingleInstance::isListening() const
{
    return m_server && m_server->isListening();
}

bool SingleInstance::activateRunning(int timeoutMs)
{
    QLocalSocket socket;
    socket.connectToServer(m_path);
    if (!socket.waitForConnected(timeoutMs))
        return false;
    socket.write(kActivate);
    if (!socket.waitForBytesWritten(timeoutMs))
        return false;
    // The running instance closes the connection once it has the request.
    if (socket.state() == QLocalSocket::ConnectedState)
        socket.waitForDisconnected(timeoutMs);
    return true;
}

SingleInstance::Role SingleInstance::claim()
{
    if (isListening())
        return Role::Primary;
    if (activateRunning(2000))
        return Role::Activated;
    if (!m_server) {
        m_server = new QLocalServer(this);
        m_server->setSocketOptions(QLocalServer::UserAccessOption);
        connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::onNewConnection);
    }
    if (m_server->listen(m_path))
        return Role::Primary;
    if (m_server->serverError() == QAbstractSocket::AddressInUseError) {
        // Another start may have begun listening since the first try.
        if (activateRunning(500))
            return Role::Activated;
        // Nobody answers on it, so it is left from a crash.
        QLocalServer::removeServer(m_path);
        if (m_server->listen(m_path))
            return Role::Primary;
    }
    qCWarning(lcInstance) << "cannot listen on" << m_path << m_server->errorString();
    return Role::Alone;
}

void SingleInstance::onNewConnection()
{
    while (QLocalSocket *socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine())
                return;
            const QByteArray line = socket->readLine();
            socket->disconnectFromServer();
            if (line == kActivate)
                emit activationRequested();
        });
    }
}
