#include "PrivateBus.h"

PrivateBus::~PrivateBus()
{
    if (m_daemon.state() != QProcess::NotRunning) {
        m_daemon.terminate();
        if (!m_daemon.waitForFinished(3000))
            m_daemon.kill();
        m_daemon.waitForFinished(3000);
    }
}

bool PrivateBus::start()
{
    m_daemon.start(QStringLiteral("dbus-daemon"),
                   {QStringLiteral("--session"), QStringLiteral("--print-address"),
                    QStringLiteral("--nofork")});
    if (!m_daemon.waitForStarted(5000))
        return false;
    while (!m_daemon.canReadLine()) {
        if (!m_daemon.waitForReadyRead(5000))
            return false;
    }
    m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
    return !m_address.isEmpty();
}
