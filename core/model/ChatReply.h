#pragma once

#include <QList>
#include <QString>

#include "ChatPick.h"

// The record the model fills when it answers a chat question.
struct ChatReply
{
    QString intro;
    QList<ChatPick> picks;

    friend bool operator==(const ChatReply &, const ChatReply &) = default;
};
