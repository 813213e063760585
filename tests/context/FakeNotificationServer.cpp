#include "FakeNotificationServer.h"

bool FakeNotificationServer::attach(QDBusConnection bus)
{
    return bus.registerObject(QStringLiteral("/org/freedesktop/Notifications"), this,
                              QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals)
           && bus.registerService(QStringLiteral("org.freedesktop.Notifications"));
}

uint FakeNotificationServer::Notify(const QString &appName, uint replacesId, const QString &,
                                    const QString &summary, const QString &body,
                                    const QStringList &actions, const QVariantMap &hints, int)
{
    const uint id = replacesId != 0 ? replacesId : m_nextId++;
    calls.append(Call{appName, replacesId, summary, body, actions, hints, id});
    return id;
}

void FakeNotificationServer::CloseNotification(uint id)
{
    closed.append(id);
    emit NotificationClosed(id, 3);
}

QStringList FakeNotificationServer::GetCapabilities()
{
    return {QStringLiteral("actions"), QStringLiteral("body")};
}
