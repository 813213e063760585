#pragma once

#include "SavedTab.h"

#include <QList>
#include <QString>
#include <QUuid>

// One entry of the chat transcript: a question or an answer with the tabs
// the answer recommends.
struct ChatMessage
{
    enum class Role { user, assistant };

    // A recommended tab and why it fits; identified by the tab's id.
    struct Card
    {
        SavedTab tab;
        QString reason;
        friend bool operator==(const Card &, const Card &) = default;
    };

    QUuid id;
    Role role = Role::user;
    QString text;
    QList<Card> cards;
    bool byAI = false;

    friend bool operator==(const ChatMessage &, const ChatMessage &) = default;
};
