#pragma once

#include "Clock.h"

#include <QDateTime>

// A clock that stands still until the test moves it.
class FakeClock final : public Clock
{
public:
    explicit FakeClock(QDateTime start = QDateTime(QDate(2026, 11, 16), QTime(20, 31)))
        : m_now(std::move(start)) {}
    QDateTime now() const override { return m_now; }
    void set(QDateTime now) { m_now = std::move(now); }
    void advance(qint64 seconds) { m_now = m_now.addSecs(seconds); }

private:
    QDateTime m_now;
};
