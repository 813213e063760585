#pragma once

#include <QString>

// One hit the model picked: its number in the list shown to it, and why.
struct ChatPick
{
    qint64 number = 0;
    QString reason;

    friend bool operator==(const ChatPick &, const ChatPick &) = default;
};
