#include "ModelSchema.h"

#include <QJsonArray>
#include <QJsonValue>

#include <algorithm>
#include <cmath>

namespace {

using Property = ModelSchema::Property;
using Type = ModelSchema::Type;

QJsonObject objectSchema(const auto &properties);

QJsonObject propertySchema(const Property &property)
{
    QJsonObject schema;
    switch (property.type) {
    case Type::string:
        schema.insert(QStringLiteral("type"), QStringLiteral("string"));
        break;
    case Type::integer:
        schema.insert(QStringLiteral("type"), QStringLiteral("integer"));
        break;
    case Type::number:
        schema.insert(QStringLiteral("type"), QStringLiteral("number"));
        break;
    case Type::boolean:
        schema.insert(QStringLiteral("type"), QStringLiteral("boolean"));
        break;
    case Type::stringArray:
        schema.insert(QStringLiteral("type"), QStringLiteral("array"));
        schema.insert(QStringLiteral("items"), QJsonObject{{QStringLiteral("type"), QStringLiteral("string")}});
        break;
    case Type::objectArray:
        schema.insert(QStringLiteral("type"), QStringLiteral("array"));
        schema.insert(QStringLiteral("items"), objectSchema(property.items));
        break;
    }
    if (!property.description.isEmpty())
        schema.insert(QStringLiteral("description"), property.description);
    if (property.maxItems >= 0 && (property.type == Type::stringArray || property.type == Type::objectArray))
        schema.insert(QStringLiteral("maxItems"), property.maxItems);
    return schema;
}

QJsonObject objectSchema(const auto &properties)
{
    QJsonObject props;
    QJsonArray required;
    for (const Property &property : properties) {
        props.insert(property.name, propertySchema(property));
        required.append(property.name);
    }
    return QJsonObject{{QStringLiteral("type"), QStringLiteral("object")},
                       {QStringLiteral("properties"), props},
                       {QStringLiteral("required"), required},
                       {QStringLiteral("additionalProperties"), false}};
}

bool objectAccepted(const auto &properties, const QJsonObject &object);

bool valueAccepted(const Property &property, const QJsonValue &value)
{
    switch (property.type) {
    case Type::string:
        return value.isString();
    case Type::integer: {
        if (!value.isDouble())
            return false;
        const double number = value.toDouble();
        return std::isfinite(number) && std::trunc(number) == number && std::fabs(number) < 9.0e15;
    }
    case Type::number:
        return value.isDouble();
    case Type::boolean:
        return value.isBool();
    case Type::stringArray: {
        if (!value.isArray())
            return false;
        const QJsonArray array = value.toArray();
        return std::all_of(array.begin(), array.end(), [](const QJsonValue &v) { return v.isString(); });
    }
    case Type::objectArray: {
        if (!value.isArray())
            return false;
        const QJsonArray array = value.toArray();
        return std::all_of(array.begin(), array.end(), [&](const QJsonValue &v) {
            return v.isObject() && objectAccepted(property.items, v.toObject());
        });
    }
    }
    return false;
}

bool objectAccepted(const auto &properties, const QJsonObject &object)
{
    for (const Property &property : properties) {
        const auto it = object.constFind(property.name);
        if (it == object.constEnd() || !valueAccepted(property, *it))
            return false;
    }
    return true;
}

} // namespace

QJsonObject ModelSchema::toJson() const
{
    return objectSchema(properties);
}

bool ModelSchema::accepts(const QJsonObject &reply) const
{
    return objectAccepted(properties, reply);
}
