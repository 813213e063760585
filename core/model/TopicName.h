#pragma once

#include <QString>

// The record the model fills when it names a topic.
struct TopicName
{
    QString name;

    friend bool operator==(const TopicName &, const TopicName &) = default;
};
