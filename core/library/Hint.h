#pragma once

#include <QDateTime>
#include <QString>
#include <QUuid>

// A suggestion that an unread tab fits one of the user's projects.
struct Hint
{
    QUuid id;
    QUuid tabId;
    QString reason;
    QDateTime createdAt;
    bool dismissed = false;

    friend bool operator==(const Hint &, const Hint &) = default;
};
