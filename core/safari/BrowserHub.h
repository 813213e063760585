#pragma once

#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QMutex>
#include <QString>
#include <QThread>
#include <QWaitCondition>

#include <chrono>
#include <future>
#include <map>
#include <memory>

#include "ConnectedBrowser.h"
#include "Result.h"

class QLocalServer;
class QLocalSocket;
class NativeFrame;

// The local socket browser hosts connect to. It runs on its own thread, so
// every public function may be called from any thread and blocks at most for
// the time limit it is given.
class BrowserHub
{
public:
    static constexpr int protocolVersion = 1;

    // $XDG_RUNTIME_DIR/pellmora/browser.sock, or a per-user folder under the
    // temporary folder when there is no runtime folder.
    static QString defaultSocketPath();

    explicit BrowserHub(QString socketPath = defaultSocketPath());
    ~BrowserHub();
    BrowserHub(const BrowserHub &) = delete;
    BrowserHub &operator=(const BrowserHub &) = delete;

    // True when some process listens on the socket, such as the running app.
    static bool inUse(const QString &socketPath);

    // Creates the folder (mode 0700) and starts listening; fails while
    // another process listens on the same socket.
    Status start();
    QString socketPath() const { return m_socketPath; }

    // Browsers that said hello, in connection order.
    QList<ConnectedBrowser> browsers() const;
    bool waitForBrowsers(int count, std::chrono::milliseconds limit) const;
    // Waits up to `first` for one browser to say hello, then for as long as
    // more keep arriving within `quiet` of each other (hosts retry about once
    // a second); gives how many are connected then.
    int waitForSettled(std::chrono::milliseconds first, std::chrono::milliseconds quiet) const;

    // Sends one request to a browser and waits for its answer. An answer
    // carrying "error" becomes a failure with that message; so do a closed
    // connection and the time limit running out.
    Result<QJsonObject> request(int browserId, QJsonObject message, std::chrono::milliseconds limit);

private:
    struct Link;
    struct Pending
    {
        int browserId = 0;
        std::shared_ptr<std::promise<Result<QJsonObject>>> reply;
    };

    void accept();
    void received(int linkId, const QJsonObject &message);
    void dropLink(int linkId, const QString &why);
    void failPending(int browserId, const QString &why);

    QString m_socketPath;
    QThread m_thread;
    QLocalServer *m_server = nullptr;        // lives on m_thread
    std::map<int, std::unique_ptr<Link>> m_links; // touched on m_thread only
    int m_nextLink = 0;

    mutable QMutex m_mutex;
    mutable QWaitCondition m_changed;
    QList<ConnectedBrowser> m_browsers;
    QHash<qint64, Pending> m_pending;
    qint64 m_nextRequest = 0;
};
