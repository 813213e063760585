#pragma once

#include <QList>
#include <QString>

#include "ChatCard.h"
#include "SavedTab.h"

// The chat's reply to one question; `byAI` when the model chose the cards.
struct ChatAnswer
{
    QString text;
    QList<SavedTab> tabs; // the cards' tabs, in card order
    QList<ChatCard> cards;
    bool byAI = false;

    friend bool operator==(const ChatAnswer &, const ChatAnswer &) = default;
};
