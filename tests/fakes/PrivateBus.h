#pragma once

#include <QProcess>
#include <QString>

// A session bus of the test's own, so nothing reaches the user's desktop.
class PrivateBus
{
public:
    PrivateBus() = default;
    ~PrivateBus();
    PrivateBus(const PrivateBus &) = delete;
    PrivateBus &operator=(const PrivateBus &) = delete;

    // Starts the daemon; empty address on failure.
    bool start();
    QString address() const { return m_address; }

private:
    QProcess m_daemon;
    QString m_address;
};
