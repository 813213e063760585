#include "ScriptValue.h"

#include <limits>

ScriptValue ScriptValue::integer(qint64 value)
{
    ScriptValue v;
    v.m_value = value;
    return v;
}

ScriptValue ScriptValue::string(QString value)
{
    ScriptValue v;
    v.m_value = std::move(value);
    return v;
}

ScriptValue ScriptValue::list(List items)
{
    ScriptValue v;
    v.m_value = std::move(items);
    return v;
}

bool ScriptValue::isMissing() const
{
    return std::holds_alternative<std::monostate>(m_value);
}

bool ScriptValue::isList() const
{
    return std::holds_alternative<List>(m_value);
}

qsizetype ScriptValue::count() const
{
    const List *items = std::get_if<List>(&m_value);
    return items ? items->size() : 0;
}

std::optional<ScriptValue> ScriptValue::item(qsizetype index) const
{
    const List *items = std::get_if<List>(&m_value);
    if (!items || index < 1 || index > items->size())
        return std::nullopt;
    return items->at(index - 1);
}

std::optional<QString> ScriptValue::stringValue() const
{
    if (const QString *text = std::get_if<QString>(&m_value))
        return *text;
    if (const qint64 *number = std::get_if<qint64>(&m_value))
        return QString::number(*number);
    return std::nullopt;
}

std::optional<qint32> ScriptValue::int32Value() const
{
    qint64 number = 0;
    if (const qint64 *n = std::get_if<qint64>(&m_value)) {
        number = *n;
    } else if (const QString *text = std::get_if<QString>(&m_value)) {
        bool ok = false;
        number = text->trimmed().toLongLong(&ok);
        if (!ok)
            return std::nullopt;
    } else {
        return std::nullopt;
    }
    if (number < std::numeric_limits<qint32>::min() || number > std::numeric_limits<qint32>::max())
        return std::nullopt;
    return qint32(number);
}
