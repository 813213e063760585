#include "HostRelay.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QLocalSocket>
#include <QLoggingCategory>
#include <QSocketNotifier>

#include <cerrno>
#include <optional>

#include <unistd.h>

Q_LOGGING_CATEGORY(lcHost, "pellmora.host")

namespace {

// Parses a frame body; an object, or nothing for anything else.
std::optional<QJsonObject> objectOf(const QByteArray &body)
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject())
        return std::nullopt;
    return doc.object();
}

} // namespace

HostRelay::HostRelay(QString socketPath, int inFd, int outFd, int retryMs, QObject *parent)
    : QObject(parent), m_socketPath(std::move(socketPath)), m_inFd(inFd), m_outFd(outFd)
{
    m_retry.setSingleShot(true);
    m_retry.setInterval(retryMs);
    connect(&m_retry, &QTimer::timeout, this, &HostRelay::connectToPellmora);
}

HostRelay::~HostRelay()
{
    if (m_socket)
        m_socket->disconnect(this);
}

void HostRelay::start()
{
    m_input = new QSocketNotifier(m_inFd, QSocketNotifier::Read, this);
    connect(m_input, &QSocketNotifier::activated, this, &HostRelay::readInput);
    connectToPellmora();
}

void HostRelay::readInput()
{
    if (m_done)
        return;
    char buffer[64 * 1024];
    const ssize_t n = ::read(m_inFd, buffer, sizeof buffer);
    if (n < 0 && (errno == EINTR || errno == EAGAIN))
        return;
    if (n <= 0) {
        // The browser closes our input when the extension lets go of us.
        m_done = true;
        m_input->setEnabled(false);
        emit finished(0);
        return;
    }
    const QList<QByteArray> bodies = m_fromBrowser.feedRaw(QByteArray(buffer, qsizetype(n)));
    for (const QByteArray &body : bodies)
        fromBrowser(body);
    if (m_fromBrowser.failed()) {
        // The length prefixes are out of step; nothing after this can be read.
        qCWarning(lcHost) << "browser:" << m_fromBrowser.error();
        m_done = true;
        m_input->setEnabled(false);
        emit finished(1);
    }
}

void HostRelay::fromBrowser(const QByteArray &body)
{
    const std::optional<QJsonObject> message = objectOf(body);
    if (!message) {
        qCWarning(lcHost) << "browser sent a message that is not a JSON object; dropped";
        return;
    }
    const QByteArray frame = NativeFrame::header(quint32(body.size())) + body;
    if (message->value(QStringLiteral("type")).toString() == QStringLiteral("hello"))
        m_hello = frame;
    if (m_linked)
        m_socket->write(frame);
}

void HostRelay::connectToPellmora()
{
    if (m_done)
        return;
    auto *socket = new QLocalSocket(this);
    m_socket = socket;
    m_linked = false;
    connect(socket, &QLocalSocket::connected, this, &HostRelay::connected);
    connect(socket, &QLocalSocket::readyRead, this, &HostRelay::readSocket);
    connect(socket, &QLocalSocket::disconnected, this, &HostRelay::lostPellmora);
    connect(socket, &QLocalSocket::errorOccurred, this, &HostRelay::lostPellmora);
    socket->connectToServer(m_socketPath);
}

void HostRelay::connected()
{
    m_linked = true;
    m_fromPellmora = NativeFrame(NativeFrame::toBrowserLimit);
    if (!m_hello.isEmpty())
        m_socket->write(m_hello);
}

void HostRelay::readSocket()
{
    if (!m_socket || !m_linked)
        return;
    const QList<QByteArray> bodies = m_fromPellmora.feedRaw(m_socket->readAll());
    for (const QByteArray &body : bodies) {
        if (!objectOf(body)) {
            qCWarning(lcHost) << "Pellmora sent a message that is not a JSON object; dropped";
            continue;
        }
        if (!writeOut(NativeFrame::header(quint32(body.size())) + body))
            return;
    }
    if (m_fromPellmora.failed()) {
        // The browser would end us for a message this big; start afresh instead.
        qCWarning(lcHost) << "Pellmora:" << m_fromPellmora.error();
        m_socket->abort();
    }
}

void HostRelay::lostPellmora()
{
    QLocalSocket *socket = m_socket;
    if (!socket || sender() != socket)
        return;
    m_socket = nullptr;
    m_linked = false;
    socket->disconnect(this);
    socket->abort();
    socket->deleteLater();
    if (!m_done)
        m_retry.start();
}

bool HostRelay::writeOut(const QByteArray &bytes)
{
    qsizetype at = 0;
    while (at < bytes.size()) {
        const ssize_t n = ::write(m_outFd, bytes.constData() + at, size_t(bytes.size() - at));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            m_done = true;
            emit finished(0);
            return false;
        }
        at += n;
    }
    return true;
}
