#pragma once
#include <QJsonValue>
#include <QString>
#include <optional>

// JSON text as the server writes it: keys sorted, and either compact with
// plain slashes (protocol lines) or indented with escaped slashes (tool
// texts). Nothing when a value cannot be written (a non-finite number).
namespace JsonText {
std::optional<QString> compact(const QJsonValue &value);
std::optional<QString> pretty(const QJsonValue &value);
} // namespace JsonText
