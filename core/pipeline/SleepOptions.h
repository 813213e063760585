#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QStringList>
#include <QVariant>

#include "Result.h"

// The user's choices for a sleep run, kept as JSON in the settings.
struct SleepOptions
{
    bool groupByWindow = true; // one saved window per browser window, else one collection window
    bool sortByTopic = true;   // regroup the whole library into topics after saving
    bool saveContent = true;   // fetch and store each new page's readable text
    bool keepPinned = false;   // leave tabs of pinned domains open when closing
    QStringList pinnedDomains; // domains or address fragments whose tabs stay open

    // Exactly the five keys, named as the fields.
    QJsonObject toJson() const;
    QByteArray encode() const;
    // Fails when a key is missing or has the wrong type.
    static Result<SleepOptions> fromJson(const QJsonObject &object);
    static Result<SleepOptions> decode(const QByteArray &json);
    // The options as the settings keep them under settingsKey, for the app
    // and the command line alike; the defaults when none are kept or they
    // cannot be read.
    static SleepOptions fromSettings(const QVariant &stored);
    static QString settingsKey() { return QStringLiteral("sleepOptions"); }

    friend bool operator==(const SleepOptions &, const SleepOptions &) = default;
};

size_t qHash(const SleepOptions &options, size_t seed = 0);
