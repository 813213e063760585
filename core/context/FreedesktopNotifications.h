#pragma once

#include "Clock.h"
#include "NotificationService.h"

#include <QDBusConnection>
#include <QHash>
#include <QMap>
#include <QTimer>

class QDBusPendingCallWatcher;

// Notifications through the desktop's notification service on the session
// bus. That service shows notifications only at once, so dated requests wait
// here and are shown at their minute; a check at least every 30 seconds
// catches up after sleep or a clock change.
class FreedesktopNotifications : public NotificationService
{
    Q_OBJECT
public:
    static constexpr int checkIntervalMs = 30000;

    explicit FreedesktopNotifications(QDBusConnection bus = QDBusConnection::sessionBus(),
                                      const Clock &clock = Clock::system(), QObject *parent = nullptr);
    ~FreedesktopNotifications() override;

    Authorisation authorisation() override;
    bool requestAuthorisation() override;
    void add(const NotificationRequest &request) override;
    void removePending(const QStringList &identifiers) override;
    QStringList pendingIdentifiers() const override;

    // Shows every pending request whose minute has come; the timer calls it,
    // tests may too.
    void runDueCheck();
    // Milliseconds until the next check, or -1 when nothing waits.
    int nextCheckInMs() const;

private slots:
    void onActionInvoked(uint id, const QString &actionKey);
    void onNotificationClosed(uint id, uint reason);

private:
    void show(const NotificationRequest &request);
    void onNotifyReply(QDBusPendingCallWatcher *watcher, const NotificationRequest &request);
    void rearm();

    QDBusConnection m_bus;
    const Clock &m_clock;
    QTimer m_timer;
    QMap<QString, NotificationRequest> m_pending;
    QHash<uint, NotificationRequest> m_shown; // by the service's notification id
    QHash<QString, uint> m_shownIds;          // identifier -> notification id, for replacing
};
