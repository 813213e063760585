#include "FakeExtension.h"

#include <QJsonArray>
#include <QThread>

#include <algorithm>
#include <utility>

bool FakeExtension::connectTo(const QString &path)
{
    socket.connectToServer(path);
    if (!socket.waitForConnected(2000)) {
        socket.abort();
        return false;
    }
    reader = NativeFrame();
    socket.write(NativeFrame::encode({{"type", "hello"}, {"protocol", 1}, {"browser", name}, {"instance", name}}));
    return socket.waitForBytesWritten(2000);
}

void FakeExtension::disconnectNow()
{
    socket.abort();
    reader = NativeFrame();
}

QJsonObject FakeExtension::answer(const QJsonObject &request)
{
    const QString type = request.value("type").toString();
    if (!refuse.isEmpty())
        return {{"error", refuse}};
    if (type == "list") {
        QJsonArray ws;
        for (const auto &w : windows) {
            QJsonArray tabs;
            for (int i = 0; i < w.size(); ++i) {
                QJsonObject t = w.at(i);
                t.insert("index", i);
                tabs.append(t);
            }
            ws.append(QJsonObject{{"tabs", tabs}});
        }
        return {{"windows", ws}};
    }
    if (type == "count") {
        int wins = 0;
        for (const auto &w : windows)
            wins += w.isEmpty() ? 0 : 1;
        return {{"tabs", tabCount()}, {"windows", wins}};
    }
    if (type == "close") {
        int closed = 0;
        for (const QJsonValue &v : request.value("tabs").toArray()) {
            const QJsonObject c = v.toObject();
            for (auto &w : windows)
                closed += int(w.removeIf([&](const QJsonObject &t) {
                    return t.value("tabId") == c.value("tabId") && t.value("url") == c.value("url");
                }));
        }
        return {{"closed", closed}};
    }
    opened.append(request);
    return {{"opened", request.value("urls").toArray().size()}, {"skipped", 0}, {"windowId", 77}};
}

void FakeExtension::serveOnce()
{
    if (socket.waitForReadyRead(10)) {
        for (const QJsonObject &request : reader.feed(socket.readAll())) {
            journal.append(name + u' ' + request.value("type").toString());
            held.append(request);
        }
    }
    if (hold)
        return;
    const QList<QJsonObject> requests = std::exchange(held, {});
    for (const QJsonObject &request : requests) {
        largestRequest = std::max(largestRequest, NativeFrame::encode(request).size() - 4);
        if (const QString type = request.value("type").toString(); type == "close" || type == "open")
            QThread::msleep(slowMs);
        QJsonObject reply = answer(request);
        reply.insert("id", request.value("id"));
        socket.write(NativeFrame::encode(reply));
        socket.flush();
    }
}

int FakeExtension::tabCount() const
{
    int tabs = 0;
    for (const auto &w : windows)
        tabs += int(w.size());
    return tabs;
}

QJsonObject FakeExtension::tab(int id, const QString &url, const QString &title)
{
    QJsonObject t{{"tabId", id}, {"url", url}};
    if (!title.isNull())
        t.insert("title", title);
    return t;
}
