#pragma once

#include <QList>
#include <QString>

#include <optional>
#include <variant>

// An answer from the script runner: an integer, a text, a list of answers,
// or nothing ("missing value").
class ScriptValue
{
public:
    using List = QList<ScriptValue>;

    ScriptValue() = default;
    static ScriptValue integer(qint64 value);
    static ScriptValue string(QString value);
    static ScriptValue list(List items);

    bool isMissing() const;
    bool isList() const;
    // Items of a list; a single value has none.
    qsizetype count() const;
    // 1-based, as the script language counts; absent when out of range.
    std::optional<ScriptValue> item(qsizetype index) const;
    // The value as text (integers in decimal); absent for lists and missing.
    std::optional<QString> stringValue() const;
    // The value as a 32-bit integer (texts that hold one are read too); absent otherwise.
    std::optional<qint32> int32Value() const;

    friend bool operator==(const ScriptValue &, const ScriptValue &) = default;

private:
    std::variant<std::monostate, qint64, QString, List> m_value;
};
