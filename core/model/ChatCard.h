#pragma once

#include <QString>
#include <QUuid>

#include "SavedTab.h"

// One tab the chat shows, with why it fits the question.
struct ChatCard
{
    SavedTab tab;
    QString reason;

    QUuid id() const { return tab.id; }

    friend bool operator==(const ChatCard &, const ChatCard &) = default;
};
