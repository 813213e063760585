#include "LocalHttpServer.h"

#include <QHostAddress>
#include <QMutexLocker>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>

#include <algorithm>

#include <sys/socket.h>

namespace {

struct Connection
{
    QByteArray buffer;
    bool requestDone = false;
    bool counted = false; // in the server's in-flight count
};

QByteArray reasonFor(int status)
{
    switch (status) {
    case 200: return "OK";
    case 301: return "Moved Permanently";
    case 302: return "Found";
    case 404: return "Not Found";
    case 500: return "Internal Server Error";
    default: return "Status";
    }
}

// Parses a complete request from the front of `buffer`; false while bytes are missing.
bool parseRequest(const QByteArray &buffer, LocalHttpServer::Request &request)
{
    const qsizetype headEnd = buffer.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return false;
    const QList<QByteArray> lines = buffer.left(headEnd).split('\n');
    const QList<QByteArray> first = lines.value(0).trimmed().split(' ');
    request.method = first.value(0);
    request.path = first.value(1);
    request.headers.clear();
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const qsizetype colon = lines[i].indexOf(':');
        if (colon > 0)
            request.headers.insert(lines[i].left(colon).trimmed().toLower(), lines[i].mid(colon + 1).trimmed());
    }
    const qsizetype length = request.headers.value("content-length", "0").toLongLong();
    if (buffer.size() - (headEnd + 4) < length)
        return false;
    request.body = buffer.mid(headEnd + 4, length);
    return true;
}

QByteArray serialise(const LocalHttpServer::Response &response)
{
    QByteArray out = "HTTP/1.1 " + QByteArray::number(response.status) + ' ' + reasonFor(response.status) + "\r\n";
    for (const auto &[name, value] : response.headers)
        out += name + ": " + value + "\r\n";
    out += "Content-Length: " + QByteArray::number(response.body.size()) + "\r\n";
    out += "Connection: close\r\n\r\n";
    out += response.body;
    return out;
}

// Sends FIN once the answer is out but keeps reading until the client closes:
// closing with unread bytes would make the kernel send a reset, and a client
// may then drop an answer it already received and send the request again.
void closeAfterWriting(QTcpSocket *socket)
{
    auto shutDown = [socket] {
        if (socket->bytesToWrite() == 0)
            ::shutdown(int(socket->socketDescriptor()), SHUT_WR);
    };
    QObject::connect(socket, &QTcpSocket::bytesWritten, socket, shutDown);
    socket->flush();
    shutDown();
    QTimer::singleShot(5000, socket, [socket] {
        socket->abort();
        socket->deleteLater();
    });
}

} // namespace

LocalHttpServer::LocalHttpServer()
    : m_thread(new QThread)
    , m_context(new QObject)
{
    m_thread->setObjectName(QStringLiteral("LocalHttpServer"));
    m_context->moveToThread(m_thread);
    m_thread->start();
    QMetaObject::invokeMethod(m_context, [this] { listen(); }, Qt::BlockingQueuedConnection);
}

LocalHttpServer::~LocalHttpServer()
{
    // Sockets and server must go away on the thread they live in.
    QMetaObject::invokeMethod(m_context, [this] { qDeleteAll(m_context->children()); },
                              Qt::BlockingQueuedConnection);
    m_thread->quit();
    m_thread->wait();
    delete m_context;
    delete m_thread;
}

void LocalHttpServer::listen()
{
    auto *server = new QTcpServer(m_context);
    server->setMaxPendingConnections(1000);
    QObject::connect(server, &QTcpServer::newConnection, server, [this, server] {
        while (QTcpSocket *socket = server->nextPendingConnection()) {
            socket->setParent(m_context);
            auto state = std::make_shared<Connection>();
            QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket, state] {
                state->buffer += socket->readAll();
                Request request;
                if (state->requestDone || !parseRequest(state->buffer, request))
                    return;
                state->requestDone = true;
                state->counted = true;
                const Response response = answerFor(request);
                QPointer<QTcpSocket> guard(socket);
                auto send = [this, guard, state, response] {
                    if (!guard || !state->counted)
                        return;
                    state->counted = false;
                    answered();
                    guard->write(serialise(response));
                    closeAfterWriting(guard);
                };
                if (response.delayMs > 0)
                    QTimer::singleShot(response.delayMs, socket, send);
                else
                    send();
            });
            QObject::connect(socket, &QTcpSocket::disconnected, socket, [this, socket, state] {
                // A client that gives up while waiting is no longer in flight.
                if (state->counted) {
                    state->counted = false;
                    answered();
                }
                socket->deleteLater();
            });
        }
    });
    if (server->listen(QHostAddress::LocalHost, 0))
        m_port = server->serverPort();
}

QUrl LocalHttpServer::url(const QString &path) const
{
    return QUrl(address(path));
}

QString LocalHttpServer::address(const QString &path) const
{
    return QStringLiteral("http://127.0.0.1:%1%2").arg(m_port).arg(path);
}

void LocalHttpServer::route(const QByteArray &path, const Response &response)
{
    QMutexLocker lock(&m_mutex);
    m_routes.insert(path, response);
}

void LocalHttpServer::setHandler(Handler handler)
{
    QMutexLocker lock(&m_mutex);
    m_handler = std::move(handler);
}

QList<LocalHttpServer::Request> LocalHttpServer::requests() const
{
    QMutexLocker lock(&m_mutex);
    return m_log;
}

int LocalHttpServer::requestCount(const QByteArray &path) const
{
    QMutexLocker lock(&m_mutex);
    return int(std::count_if(m_log.cbegin(), m_log.cend(), [&](const Request &r) { return r.path == path; }));
}

void LocalHttpServer::clearLog()
{
    QMutexLocker lock(&m_mutex);
    m_log.clear();
    m_maxInFlight = m_inFlight;
}

int LocalHttpServer::inFlight() const
{
    QMutexLocker lock(&m_mutex);
    return m_inFlight;
}

int LocalHttpServer::maxInFlight() const
{
    QMutexLocker lock(&m_mutex);
    return m_maxInFlight;
}

LocalHttpServer::Response LocalHttpServer::page(const QByteArray &body, const QByteArray &contentType, int delayMs)
{
    Response r;
    if (!contentType.isEmpty())
        r.headers.emplaceBack("Content-Type", contentType);
    r.body = body;
    r.delayMs = delayMs;
    return r;
}

LocalHttpServer::Response LocalHttpServer::redirect(const QByteArray &location, int status)
{
    Response r;
    r.status = status;
    r.headers.emplaceBack("Location", location);
    return r;
}

LocalHttpServer::Response LocalHttpServer::answerFor(const Request &request)
{
    Handler handler;
    {
        QMutexLocker lock(&m_mutex);
        m_log.append(request);
        m_maxInFlight = std::max(m_maxInFlight, ++m_inFlight);
        auto it = m_routes.constFind(request.path);
        if (it == m_routes.cend())
            it = m_routes.constFind(request.path.left(request.path.indexOf('?')));
        if (it != m_routes.cend())
            return *it;
        handler = m_handler;
    }
    if (handler)
        return handler(request);
    Response notFound;
    notFound.status = 404;
    notFound.headers.emplaceBack("Content-Type", "text/plain");
    notFound.body = "not found";
    return notFound;
}

void LocalHttpServer::answered()
{
    QMutexLocker lock(&m_mutex);
    --m_inFlight;
}
