#pragma once
#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <functional>

class MCPServer;

// The companion commands run the assistant tools on the standard library and
// print their value as JSON or as German lines.
namespace ToolOutput {
// 0 on success, 1 when the tool failed (its message goes to standard error).
int call(const QString &tool, const QJsonObject &arguments, bool json,
         const std::function<void(const QJsonValue &)> &printLines);
// Pulls "--json" out of the arguments; true when it was there.
bool takeJson(QStringList &args);
// One tab summary as two lines: id and title, then the address.
void printTab(const QJsonObject &brief);
void printJson(const QJsonValue &value);
} // namespace ToolOutput
