#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QString>

// Lines of the MCP's JSON-RPC over standard input and output.
namespace JsonRpc {

// One request line (newline included); a null id makes it a notification.
QByteArray request(const QJsonValue &id, const QString &method, const QJsonObject &params = {});
// A tools/call request line.
QByteArray toolCall(const QJsonValue &id, const QString &tool, const QJsonObject &arguments = {});
// The objects of the output's lines, in order; a line that is not an object
// gives an empty one.
QList<QJsonObject> replies(const QByteArray &output);
// The text a tool call's reply carries (result.content[0].text).
QString toolText(const QJsonObject &reply);

} // namespace JsonRpc
