#pragma once

#include <QJsonObject>
#include <QList>
#include <QLocalSocket>
#include <QString>

#include "NativeFrame.h"

// One browser as the extension presents it to Pellmora: windows of
// {tabId, url, title}, answering list, count, close and open requests like
// the real one does.
class FakeExtension
{
public:
    explicit FakeExtension(QString browser) : name(std::move(browser)) {}

    QString name;
    QList<QList<QJsonObject>> windows;
    QLocalSocket socket;
    NativeFrame reader;
    QString refuse; // when set, every request is refused with this message
    QList<QJsonObject> opened;
    qsizetype largestRequest = 0; // bytes of JSON, as the host would relay it
    int slowMs = 0;               // how long closing or opening takes
    bool hold = false;            // requests wait unanswered while set
    QList<QJsonObject> held;
    // "<browser> <type>" of every request of every fake, in arrival order.
    static inline QStringList journal;

    // Connects and says hello; false when nobody listens at path.
    bool connectTo(const QString &path);
    bool isConnected() const { return socket.state() == QLocalSocket::ConnectedState; }
    void disconnectNow();
    QJsonObject answer(const QJsonObject &request);
    // Answers what arrived within a few milliseconds (and what was held).
    void serveOnce();
    int tabCount() const;

    static QJsonObject tab(int id, const QString &url, const QString &title = {});
};
