#include "NativeFrame.h"

#include <QJsonDocument>
#include <QJsonParseError>

#include <cstring>

NativeFrame::NativeFrame(qint64 limit) : m_limit(limit) {}

QByteArray NativeFrame::header(quint32 length)
{
    QByteArray bytes(sizeof length, Qt::Uninitialized);
    std::memcpy(bytes.data(), &length, sizeof length);
    return bytes;
}

QByteArray NativeFrame::encode(const QJsonObject &message)
{
    const QByteArray body = QJsonDocument(message).toJson(QJsonDocument::Compact);
    return header(quint32(body.size())) + body;
}

QList<QByteArray> NativeFrame::feedRaw(const QByteArray &bytes)
{
    QList<QByteArray> bodies;
    if (failed())
        return bodies;
    m_buffer.append(bytes);
    qsizetype at = 0;
    while (m_buffer.size() - at >= qsizetype(sizeof(quint32))) {
        quint32 length = 0;
        std::memcpy(&length, m_buffer.constData() + at, sizeof length);
        if (qint64(length) > m_limit) {
            m_error = QStringLiteral("Nachricht zu gross (%1 Bytes)").arg(length);
            m_buffer.clear();
            return bodies;
        }
        if (m_buffer.size() - at - qsizetype(sizeof length) < qsizetype(length))
            break;
        bodies.append(m_buffer.mid(at + sizeof length, length));
        at += sizeof length + length;
    }
    m_buffer.remove(0, at);
    return bodies;
}

QList<QJsonObject> NativeFrame::feed(const QByteArray &bytes)
{
    QList<QJsonObject> messages;
    // Every body here was whole before any oversized length that stopped the
    // reader, so it counts, as it would have had it come in a read of its own.
    for (const QByteArray &body : feedRaw(bytes)) {
        QJsonParseError parseError;
        const QJsonDocument doc = QJsonDocument::fromJson(body, &parseError);
        if (parseError.error != QJsonParseError::NoError || !doc.isObject()) {
            m_error = QStringLiteral("Nachricht ist kein JSON-Objekt");
            m_buffer.clear();
            break;
        }
        messages.append(doc.object());
    }
    return messages;
}
