#pragma once

#include <QDateTime>
#include <QMap>
#include <QString>

#include <optional>

// One notification handed to the platform's service.
struct NotificationRequest
{
    QString identifier; // same identifier replaces a pending request
    QString title;
    QString body;
    QString category;
    QMap<QString, QString> userInfo;
    bool sound = false;
    std::optional<QDateTime> fireAt; // shown at this minute; none: at once

    friend bool operator==(const NotificationRequest &, const NotificationRequest &) = default;
};

// The user's answer to a shown notification.
struct NotificationAnswer
{
    QString action; // "OPEN", "LATER", "DISMISS" or "default" for a click
    QMap<QString, QString> userInfo;

    friend bool operator==(const NotificationAnswer &, const NotificationAnswer &) = default;
};
