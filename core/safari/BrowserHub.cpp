#include "BrowserHub.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QMetaObject>

#include <algorithm>
#include <cerrno>

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "NativeFrame.h"

struct BrowserHub::Link
{
    QLocalSocket *socket = nullptr;
    NativeFrame reader;
    bool hello = false;
};

namespace {

// Only processes of the same user may talk to us.
bool sameUser(qintptr descriptor)
{
    ucred cred{};
    socklen_t size = sizeof cred;
    if (getsockopt(int(descriptor), SOL_SOCKET, SO_PEERCRED, &cred, &size) != 0)
        return false;
    return cred.uid == getuid();
}

Status privateFolder(const QString &path)
{
    const QByteArray native = QFile::encodeName(path);
    if (::mkdir(native.constData(), 0700) != 0 && errno != EEXIST)
        return Status::failure(QStringLiteral("Ordner %1 kann nicht angelegt werden").arg(path));
    struct stat info{};
    if (::stat(native.constData(), &info) != 0 || !S_ISDIR(info.st_mode) || info.st_uid != getuid())
        return Status::failure(QStringLiteral("Ordner %1 gehört jemand anderem").arg(path));
    if ((info.st_mode & 0777) != 0700 && ::chmod(native.constData(), 0700) != 0)
        return Status::failure(QStringLiteral("Ordner %1 kann nicht geschützt werden").arg(path));
    return Done{};
}

} // namespace

QString BrowserHub::defaultSocketPath()
{
    QString base = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (base.isEmpty() || !QFileInfo(base).isDir())
        base = QDir::tempPath() + QStringLiteral("/pellmora-%1").arg(getuid());
    return base + QStringLiteral("/pellmora/browser.sock");
}

BrowserHub::BrowserHub(QString socketPath) : m_socketPath(std::move(socketPath))
{
    m_thread.setObjectName(QStringLiteral("pellmora-browser-hub"));
    m_thread.start();
}

BrowserHub::~BrowserHub()
{
    if (m_server) {
        QMetaObject::invokeMethod(
            m_server,
            [this] {
                // Detached first, so closing does not re-enter dropLink.
                const auto links = std::move(m_links);
                m_links.clear();
                for (const auto &[id, link] : links) {
                    link->socket->disconnect(m_server);
                    delete link->socket;
                }
                delete m_server;
                m_server = nullptr;
            },
            Qt::BlockingQueuedConnection);
    }
    m_thread.quit();
    m_thread.wait();
    failPending(0, QStringLiteral("Pellmora wird beendet"));
}

bool BrowserHub::inUse(const QString &socketPath)
{
    QLocalSocket probe;
    probe.connectToServer(socketPath);
    const bool listening = probe.waitForConnected(1000);
    probe.abort();
    return listening;
}

Status BrowserHub::start()
{
    if (m_server)
        return Done{};
    // Taking over the socket would cut the browsers off from whoever holds it.
    if (inUse(m_socketPath))
        return Status::failure(QStringLiteral("Die Browser-Verbindung gehört schon einem anderen Pellmora"));
    QDir parent = QFileInfo(m_socketPath).dir();
    if (QString base = QFileInfo(parent.path()).path(); !QFileInfo(base).isDir())
        QDir().mkpath(base);
    if (const Status folder = privateFolder(parent.path()); !folder)
        return folder;

    Status outcome = Done{};
    auto *server = new QLocalServer;
    server->moveToThread(&m_thread);
    QMetaObject::invokeMethod(
        server,
        [this, server, &outcome] {
            server->setSocketOptions(QLocalServer::UserAccessOption);
            QLocalServer::removeServer(m_socketPath);
            if (!server->listen(m_socketPath)) {
                outcome = Status::failure(QStringLiteral("Browser-Verbindung kann nicht geöffnet werden: %1")
                                              .arg(server->errorString()));
                delete server;
                return;
            }
            QObject::connect(server, &QLocalServer::newConnection, server, [this] { accept(); });
            m_server = server;
        },
        Qt::BlockingQueuedConnection);
    return outcome;
}

void BrowserHub::accept()
{
    while (QLocalSocket *socket = m_server->nextPendingConnection()) {
        if (!sameUser(socket->socketDescriptor())) {
            socket->abort();
            socket->deleteLater();
            continue;
        }
        const int id = ++m_nextLink;
        auto link = std::make_unique<Link>();
        link->socket = socket;
        m_links.emplace(id, std::move(link));
        QObject::connect(socket, &QLocalSocket::readyRead, m_server, [this, id] {
            auto it = m_links.find(id);
            if (it == m_links.end())
                return;
            Link &l = *it->second;
            const QList<QJsonObject> messages = l.reader.feed(l.socket->readAll());
            for (const QJsonObject &message : messages)
                received(id, message);
            if (l.reader.failed())
                dropLink(id, l.reader.error());
        });
        QObject::connect(socket, &QLocalSocket::disconnected, m_server, [this, id] {
            dropLink(id, QStringLiteral("Der Browser hat die Verbindung getrennt"));
        });
    }
}

void BrowserHub::received(int linkId, const QJsonObject &message)
{
    auto it = m_links.find(linkId);
    if (it == m_links.end())
        return;
    Link &link = *it->second;
    if (message.value(QStringLiteral("type")).toString() == QStringLiteral("hello")) {
        if (link.hello)
            return;
        link.hello = true;
        ConnectedBrowser browser;
        browser.id = linkId;
        browser.browser = message.value(QStringLiteral("browser")).toString();
        browser.instance = message.value(QStringLiteral("instance")).toString();
        browser.protocol = message.value(QStringLiteral("protocol")).toInt();
        QMutexLocker lock(&m_mutex);
        // Hellos may arrive out of step with the connections; windows are
        // numbered by connection order.
        const auto at = std::upper_bound(m_browsers.begin(), m_browsers.end(), linkId,
                                         [](int id, const ConnectedBrowser &b) { return id < b.id; });
        m_browsers.insert(at, browser);
        m_changed.wakeAll();
        return;
    }
    const QJsonValue id = message.value(QStringLiteral("id"));
    if (!id.isDouble())
        return;
    Pending pending;
    {
        QMutexLocker lock(&m_mutex);
        auto found = m_pending.find(qint64(id.toDouble()));
        if (found == m_pending.end() || found->browserId != linkId)
            return;
        pending = *found;
        m_pending.erase(found);
    }
    if (message.value(QStringLiteral("error")).isString())
        pending.reply->set_value(Result<QJsonObject>::failure(message.value(QStringLiteral("error")).toString()));
    else
        pending.reply->set_value(message);
}

void BrowserHub::dropLink(int linkId, const QString &why)
{
    auto it = m_links.find(linkId);
    if (it == m_links.end())
        return;
    QLocalSocket *socket = it->second->socket;
    m_links.erase(it);
    socket->disconnect(m_server);
    socket->abort();
    socket->deleteLater();
    {
        QMutexLocker lock(&m_mutex);
        m_browsers.removeIf([linkId](const ConnectedBrowser &b) { return b.id == linkId; });
        m_changed.wakeAll();
    }
    failPending(linkId, why);
}

void BrowserHub::failPending(int browserId, const QString &why)
{
    QList<Pending> failed;
    {
        QMutexLocker lock(&m_mutex);
        for (auto it = m_pending.begin(); it != m_pending.end();) {
            if (browserId == 0 || it->browserId == browserId) {
                failed.append(*it);
                it = m_pending.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (const Pending &p : failed)
        p.reply->set_value(Result<QJsonObject>::failure(why));
}

QList<ConnectedBrowser> BrowserHub::browsers() const
{
    QMutexLocker lock(&m_mutex);
    return m_browsers;
}

bool BrowserHub::waitForBrowsers(int count, std::chrono::milliseconds limit) const
{
    QDeadlineTimer deadline(limit.count());
    QMutexLocker lock(&m_mutex);
    while (m_browsers.size() != count) {
        if (!m_changed.wait(&m_mutex, deadline))
            return m_browsers.size() == count;
    }
    return true;
}

int BrowserHub::waitForSettled(std::chrono::milliseconds first, std::chrono::milliseconds quiet) const
{
    QDeadlineTimer deadline(first.count());
    QMutexLocker lock(&m_mutex);
    while (m_browsers.isEmpty()) {
        if (!m_changed.wait(&m_mutex, deadline))
            return int(m_browsers.size());
    }
    for (;;) {
        const qsizetype seen = m_browsers.size();
        QDeadlineTimer pause(quiet.count());
        while (m_browsers.size() <= seen) {
            if (!m_changed.wait(&m_mutex, pause))
                return int(m_browsers.size());
        }
    }
}

Result<QJsonObject> BrowserHub::request(int browserId, QJsonObject message, std::chrono::milliseconds limit)
{
    auto reply = std::make_shared<std::promise<Result<QJsonObject>>>();
    std::future<Result<QJsonObject>> answer = reply->get_future();
    qint64 requestId = 0;
    {
        QMutexLocker lock(&m_mutex);
        const bool known = std::any_of(m_browsers.cbegin(), m_browsers.cend(),
                                       [browserId](const ConnectedBrowser &b) { return b.id == browserId; });
        if (!known || !m_server)
            return Result<QJsonObject>::failure(QStringLiteral("Der Browser ist nicht mehr verbunden"));
        requestId = ++m_nextRequest;
        m_pending.insert(requestId, Pending{browserId, reply});
    }
    message.insert(QStringLiteral("id"), requestId);
    const QByteArray frame = NativeFrame::encode(message);
    QMetaObject::invokeMethod(m_server, [this, browserId, frame] {
        auto it = m_links.find(browserId);
        if (it == m_links.end()) {
            failPending(browserId, QStringLiteral("Der Browser ist nicht mehr verbunden"));
            return;
        }
        it->second->socket->write(frame);
    });

    if (answer.wait_for(limit) != std::future_status::ready) {
        QMutexLocker lock(&m_mutex);
        if (m_pending.remove(requestId) > 0)
            return Result<QJsonObject>::failure(QStringLiteral("Der Browser hat nicht rechtzeitig geantwortet"));
    }
    return answer.get();
}
