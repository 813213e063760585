#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

#include <vector>

// The shape of a record the model is asked to fill: its properties with
// their types, the descriptions the model reads, and "at most n" guides.
struct ModelSchema
{
    enum class Type { string, integer, number, boolean, stringArray, objectArray };

    struct Property
    {
        QString name;
        Type type = Type::string;
        QString description;
        int maxItems = -1;           // arrays: at most this many elements (-1: no guide)
        std::vector<Property> items; // objectArray: the properties of each element

        friend bool operator==(const Property &, const Property &) = default;
    };

    QList<Property> properties;

    // A JSON schema object; every property is required, no others allowed.
    QJsonObject toJson() const;
    // Whether a reply has every property with the right type. Extra
    // elements beyond a guide are allowed: callers keep the first ones.
    bool accepts(const QJsonObject &reply) const;

    friend bool operator==(const ModelSchema &, const ModelSchema &) = default;
};
