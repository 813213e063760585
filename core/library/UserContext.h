#pragma once

#include <QString>
#include <QStringList>

// What the user works on: project folders, a free text and the hint schedule.
struct UserContext
{
    QStringList folderPaths;
    QString freeText;
    qint64 hintsPerDay = 2;
    qint64 hintHour = 9;

    friend bool operator==(const UserContext &, const UserContext &) = default;
};
