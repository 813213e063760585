#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMap>
#include <QMutex>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <utility>

class QObject;
class QThread;

// A small HTTP/1.1 server on 127.0.0.1 for tests. It runs in a thread of its
// own, so a test may block its main thread (a synchronous fetch) while the
// server answers. Every answer closes the connection. All methods may be
// called from any thread.
class LocalHttpServer
{
public:
    struct Request
    {
        QByteArray method;
        QByteArray path;                    // as sent, query included
        QMap<QByteArray, QByteArray> headers; // names lower-cased
        QByteArray body;
        friend bool operator==(const Request &, const Request &) = default;
    };

    struct Response
    {
        int status = 200;
        QList<std::pair<QByteArray, QByteArray>> headers; // Content-Length and Connection are added
        QByteArray body;
        int delayMs = 0; // wait this long before answering
        friend bool operator==(const Response &, const Response &) = default;
    };

    // Answers requests for paths without a route; runs on the server's thread.
    using Handler = std::function<Response(const Request &)>;

    LocalHttpServer();
    ~LocalHttpServer();
    LocalHttpServer(const LocalHttpServer &) = delete;
    LocalHttpServer &operator=(const LocalHttpServer &) = delete;

    bool isListening() const { return m_port != 0; }
    quint16 port() const { return m_port; }
    // http://127.0.0.1:<port><path>; `path` starts with "/".
    QUrl url(const QString &path) const;
    QString address(const QString &path) const;

    // Scripted answer for one path (matched with and then without the query).
    void route(const QByteArray &path, const Response &response);
    void setHandler(Handler handler);

    // Requests in the order they were fully received.
    QList<Request> requests() const;
    int requestCount(const QByteArray &path) const;
    void clearLog();
    // Requests received but not yet answered, and the largest such number
    // seen since the start or the last clearLog().
    int inFlight() const;
    int maxInFlight() const;

    static Response page(const QByteArray &body, const QByteArray &contentType = "text/html; charset=utf-8",
                         int delayMs = 0);
    static Response redirect(const QByteArray &location, int status = 301);

    // Used by the connection objects on the server thread.
    Response answerFor(const Request &request);
    void answered();

private:
    void listen();

    QThread *m_thread = nullptr;
    QObject *m_context = nullptr; // lives in m_thread, parent of the server and its sockets
    quint16 m_port = 0;

    mutable QMutex m_mutex;
    QHash<QByteArray, Response> m_routes;
    Handler m_handler;
    QList<Request> m_log;
    int m_inFlight = 0;
    int m_maxInFlight = 0;
};
