#include "JsonRpc.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace JsonRpc {

QByteArray request(const QJsonValue &id, const QString &method, const QJsonObject &params)
{
    QJsonObject message{{QStringLiteral("jsonrpc"), QStringLiteral("2.0")}, {QStringLiteral("method"), method}};
    if (!id.isNull())
        message.insert(QStringLiteral("id"), id);
    if (!params.isEmpty())
        message.insert(QStringLiteral("params"), params);
    return QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n';
}

QByteArray toolCall(const QJsonValue &id, const QString &tool, const QJsonObject &arguments)
{
    return request(id, QStringLiteral("tools/call"),
                   {{QStringLiteral("name"), tool}, {QStringLiteral("arguments"), arguments}});
}

QList<QJsonObject> replies(const QByteArray &output)
{
    QList<QJsonObject> out;
    for (const QByteArray &line : output.split('\n')) {
        if (!line.trimmed().isEmpty())
            out.append(QJsonDocument::fromJson(line).object());
    }
    return out;
}

QString toolText(const QJsonObject &reply)
{
    return reply.value(QStringLiteral("result"))
        .toObject()
        .value(QStringLiteral("content"))
        .toArray()
        .first()
        .toObject()
        .value(QStringLiteral("text"))
        .toString();
}

} // namespace JsonRpc
