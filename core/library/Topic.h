#pragma once

#include <QList>
#include <QString>
#include <QUuid>

// A group of tabs on one subject.
struct Topic
{
    QUuid id;
    QString name;
    QString color; // a TopicPalette key
    QList<QUuid> tabIds;
    bool isUnsorted = false;

    friend bool operator==(const Topic &, const Topic &) = default;
};
