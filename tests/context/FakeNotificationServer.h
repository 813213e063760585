#pragma once

#include <QDBusConnection>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

// Stands in for the desktop's notification service on a private bus and
// records what it is asked to show.
class FakeNotificationServer : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    struct Call
    {
        QString appName;
        uint replacesId = 0;
        QString summary;
        QString body;
        QStringList actions;
        QVariantMap hints;
        uint id = 0; // the id this call was answered with
    };

    // Registers the object and the service name on `bus`.
    bool attach(QDBusConnection bus);

    QList<Call> calls;
    QList<uint> closed;

public slots:
    uint Notify(const QString &appName, uint replacesId, const QString &appIcon,
                const QString &summary, const QString &body, const QStringList &actions,
                const QVariantMap &hints, int expireTimeout);
    void CloseNotification(uint id);
    QStringList GetCapabilities();

signals:
    void ActionInvoked(uint id, const QString &actionKey);
    void NotificationClosed(uint id, uint reason);

private:
    uint m_nextId = 1;
};
