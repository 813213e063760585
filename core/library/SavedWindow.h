#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QUuid>

// One browser window as it was at the moment of a sleep run.
struct SavedWindow
{
    QUuid id;
    QDateTime savedAt;
    QString title;
    QList<QUuid> tabIds; // in the window's tab order

    // "Fenster 2 · 16.11. 20:31" (local time).
    static QString makeTitle(qint64 index, const QDateTime &date);

    friend bool operator==(const SavedWindow &, const SavedWindow &) = default;
};
