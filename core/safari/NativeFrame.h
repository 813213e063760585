#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>

// Length-prefixed JSON messages as browsers exchange them with native hosts:
// a 4-byte length in the machine's own byte order, then that many bytes of
// UTF-8 JSON. Feed bytes as they arrive; whole messages come out in order.
class NativeFrame
{
public:
    // Messages to the browser must stay under 1 MB; from it up to 64 MB.
    static constexpr qint64 toBrowserLimit = 1024 * 1024 - 1;
    static constexpr qint64 fromBrowserLimit = 64 * 1024 * 1024;

    explicit NativeFrame(qint64 limit = fromBrowserLimit);

    static QByteArray encode(const QJsonObject &message);
    static QByteArray header(quint32 length);

    // Adds bytes and gives every message that is now complete. After a
    // length above the limit or a body that is not a JSON object the reader
    // stops: failed() turns true and error() says why.
    QList<QJsonObject> feed(const QByteArray &bytes);
    // The raw bodies instead of parsed objects, for relaying unchanged.
    QList<QByteArray> feedRaw(const QByteArray &bytes);

    bool failed() const { return !m_error.isEmpty(); }
    const QString &error() const { return m_error; }
    qint64 pending() const { return m_buffer.size(); }

private:
    qint64 m_limit;
    QByteArray m_buffer;
    QString m_error;
};
