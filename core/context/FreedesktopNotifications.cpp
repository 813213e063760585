#include "FreedesktopNotifications.h"

#include "Reminders.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusReply>

#include <algorithm>

namespace {
const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
const QString iface = QStringLiteral("org.freedesktop.Notifications");
} // namespace

FreedesktopNotifications::FreedesktopNotifications(QDBusConnection bus, const Clock &clock,
                                                   QObject *parent)
    : NotificationService(parent), m_bus(std::move(bus)), m_clock(clock)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &FreedesktopNotifications::runDueCheck);
    if (m_bus.isConnected()) {
        m_bus.connect(service, path, iface, QStringLiteral("ActionInvoked"), this,
                      SLOT(onActionInvoked(uint, QString)));
        m_bus.connect(service, path, iface, QStringLiteral("NotificationClosed"), this,
                      SLOT(onNotificationClosed(uint, uint)));
    }
}

FreedesktopNotifications::~FreedesktopNotifications() = default;

NotificationService::Authorisation FreedesktopNotifications::authorisation()
{
    if (!m_bus.isConnected() || !m_bus.interface())
        return Authorisation::Denied;
    const QDBusReply<bool> reply = m_bus.interface()->isServiceRegistered(service);
    return reply.isValid() && reply.value() ? Authorisation::Authorised : Authorisation::Denied;
}

bool FreedesktopNotifications::requestAuthorisation()
{
    // There is nobody to ask: the service is there or it is not.
    return authorisation() == Authorisation::Authorised;
}

void FreedesktopNotifications::add(const NotificationRequest &request)
{
    m_pending.remove(request.identifier);
    if (request.fireAt && *request.fireAt > m_clock.now()) {
        m_pending.insert(request.identifier, request);
        rearm();
        return;
    }
    rearm();
    show(request);
}

void FreedesktopNotifications::removePending(const QStringList &identifiers)
{
    for (const QString &id : identifiers)
        m_pending.remove(id);
    rearm();
}

QStringList FreedesktopNotifications::pendingIdentifiers() const
{
    return m_pending.keys();
}

void FreedesktopNotifications::runDueCheck()
{
    const QDateTime now = m_clock.now();
    QList<NotificationRequest> due;
    for (auto it = m_pending.begin(); it != m_pending.end();) {
        if (*it->fireAt <= now) {
            due.append(*it);
            it = m_pending.erase(it);
        } else {
            ++it;
        }
    }
    std::sort(due.begin(), due.end(), [](const NotificationRequest &a, const NotificationRequest &b) {
        return *a.fireAt < *b.fireAt;
    });
    for (const NotificationRequest &r : std::as_const(due))
        show(r);
    rearm();
}

int FreedesktopNotifications::nextCheckInMs() const
{
    if (m_pending.isEmpty())
        return -1;
    const QDateTime now = m_clock.now();
    qint64 soonest = checkIntervalMs;
    for (const NotificationRequest &r : m_pending)
        soonest = std::min(soonest, std::max<qint64>(0, now.msecsTo(*r.fireAt)));
    return int(soonest);
}

void FreedesktopNotifications::rearm()
{
    const int ms = nextCheckInMs();
    if (ms < 0)
        m_timer.stop();
    else
        m_timer.start(ms);
}

void FreedesktopNotifications::show(const NotificationRequest &request)
{
    if (!m_bus.isConnected())
        return;
    QStringList actions;
    // Only a notification about a tab has the tab's answers.
    if (request.category == QLatin1String(Reminders::categoryHint)) {
        for (const auto &[id, title] : Reminders::actions())
            actions << id << title;
    }
    actions << QString::fromLatin1(Reminders::actionDefault) << QString();
    QVariantMap hints;
    hints.insert(QStringLiteral("desktop-entry"), QStringLiteral("pellmora"));
    hints.insert(QStringLiteral("x-pellmora-category"), request.category);
    if (!request.sound)
        hints.insert(QStringLiteral("suppress-sound"), true);
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, iface, QStringLiteral("Notify"));
    call << QStringLiteral("Pellmora") << m_shownIds.value(request.identifier, 0u) << QString()
         << request.title << request.body << actions << hints << int(-1);
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, request](QDBusPendingCallWatcher *w) { onNotifyReply(w, request); });
}

void FreedesktopNotifications::onNotifyReply(QDBusPendingCallWatcher *watcher,
                                             const NotificationRequest &request)
{
    watcher->deleteLater();
    const QDBusPendingReply<uint> reply = *watcher;
    if (reply.isError())
        return;
    const uint id = reply.value();
    m_shown.insert(id, request);
    m_shownIds.insert(request.identifier, id);
}

void FreedesktopNotifications::onActionInvoked(uint id, const QString &actionKey)
{
    const auto it = m_shown.constFind(id);
    if (it == m_shown.constEnd())
        return;
    emit answered(NotificationAnswer{actionKey, it->userInfo});
}

void FreedesktopNotifications::onNotificationClosed(uint id, uint)
{
    const auto it = m_shown.constFind(id);
    if (it == m_shown.constEnd())
        return;
    if (m_shownIds.value(it->identifier) == id)
        m_shownIds.remove(it->identifier);
    m_shown.erase(it);
}
