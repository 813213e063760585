#pragma once

#include "ChatCard.h"

#include <QList>
#include <QString>
#include <QUuid>

// One entry of the chat transcript: a question or an answer with the tabs
// the answer recommends.
struct ChatMessage
{
    enum class Role { user, assistant };

    QUuid id;
    Role role = Role::user;
    QString text;
    QList<ChatCard> cards; // empty for questions
    bool byAI = false;

    friend bool operator==(const ChatMessage &, const ChatMessage &) = default;
};
