#pragma once

#include <QDateTime>

// The current time, swappable so that tests can pin it.
class Clock
{
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;

    // The real clock, shared and thread-safe.
    static const Clock &system();
};
