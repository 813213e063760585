#include "Reminders.h"

#include "Fmt.h"
#include "NotificationService.h"

#include <QDBusConnection>
#include <QTimeZone>

#include <atomic>

namespace Reminders {

namespace {
std::atomic<bool> g_enabled{false};

const QString reminderPrefix = QStringLiteral("reminder-");
const QString hintPrefix = QStringLiteral("hint-");

bool permitted(NotificationService &service)
{
    switch (service.authorisation()) {
    case NotificationService::Authorisation::Authorised:
    case NotificationService::Authorisation::Provisional:
    case NotificationService::Authorisation::Ephemeral:
        return true;
    case NotificationService::Authorisation::NotDetermined:
        return service.requestAuthorisation();
    case NotificationService::Authorisation::Denied:
        break;
    }
    return false;
}
} // namespace

QList<std::pair<QString, QString>> actions()
{
    return {{QString::fromLatin1(actionOpen), QStringLiteral("Öffnen")},
            {QString::fromLatin1(actionLater), QStringLiteral("Später")},
            {QString::fromLatin1(actionDismiss), QStringLiteral("Nicht relevant")}};
}

void setEnabled(bool enabled)
{
    g_enabled = enabled;
}

bool isUsable()
{
    if (!g_enabled || qEnvironmentVariableIsSet("PELLMORA_NO_NOTIFICATIONS"))
        return false;
    return QDBusConnection::sessionBus().isConnected();
}

QString uuidText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

NotificationRequest reminderRequest(const SavedTab &tab)
{
    NotificationRequest r;
    r.identifier = reminderPrefix + uuidText(tab.id);
    r.title = QStringLiteral("Schau dir diesen Tab an");
    r.body = tab.note.isEmpty() ? tab.title : tab.title + u'\n' + tab.note;
    r.sound = true;
    r.category = QString::fromLatin1(categoryHint);
    r.userInfo.insert(QStringLiteral("tabId"), uuidText(tab.id));
    if (tab.reminderAt) {
        // The trigger is the local minute; seconds are dropped.
        const QDateTime local = tab.reminderAt->toLocalTime();
        r.fireAt = QDateTime(local.date(), QTime(local.time().hour(), local.time().minute()));
    }
    return r;
}

NotificationRequest hintRequest(const Hint &hint, const SavedTab &tab)
{
    NotificationRequest r;
    r.identifier = hintPrefix + uuidText(hint.id);
    r.title = QStringLiteral("Schau dir diesen Tab an: «") + tab.title + QStringLiteral("»");
    // The date form already ends in a full stop; never write two.
    QString day = Fmt::dayMonth(tab.savedAt);
    if (!day.endsWith(u'.'))
        day += u'.';
    r.body = QStringLiteral("Gespeichert am ") + day + u' ' + hint.reason;
    r.category = QString::fromLatin1(categoryHint);
    r.userInfo.insert(QStringLiteral("tabId"), uuidText(tab.id));
    r.userInfo.insert(QStringLiteral("hintId"), uuidText(hint.id));
    return r;
}

bool ensurePermission(NotificationService &service)
{
    return isUsable() && permitted(service);
}

void schedule(NotificationService &service, const SavedTab &tab, const Clock &clock)
{
    if (!isUsable())
        return;
    service.removePending({reminderPrefix + uuidText(tab.id)});
    if (!tab.reminderAt || *tab.reminderAt <= clock.now())
        return;
    if (!isUsable() || !permitted(service))
        return;
    service.add(reminderRequest(tab));
}

void rescheduleAll(NotificationService &service, const QList<SavedTab> &tabs, const Clock &clock)
{
    if (!isUsable())
        return;
    QStringList stale;
    const QStringList pending = service.pendingIdentifiers();
    for (const QString &id : pending)
        if (id.startsWith(reminderPrefix))
            stale.append(id);
    if (!stale.isEmpty())
        service.removePending(stale);
    const QDateTime now = clock.now();
    QList<SavedTab> kept;
    for (const SavedTab &tab : tabs)
        if (tab.reminderAt && *tab.reminderAt > now)
            kept.append(tab);
    if (kept.isEmpty())
        return;
    // At start-up the user is never asked.
    const auto state = service.authorisation();
    if (state != NotificationService::Authorisation::Authorised
        && state != NotificationService::Authorisation::Provisional)
        return;
    for (const SavedTab &tab : std::as_const(kept))
        schedule(service, tab, clock);
}

void postHint(NotificationService &service, const Hint &hint, const SavedTab &tab)
{
    if (!isUsable() || !permitted(service))
        return;
    service.add(hintRequest(hint, tab));
}

NotificationRequest resultRequest(const QString &text)
{
    NotificationRequest r;
    r.identifier = QStringLiteral("sleep-result");
    r.title = QStringLiteral("Pellmora");
    r.body = text;
    return r;
}

void postResult(NotificationService &service, const QString &text)
{
    if (!isUsable() || !permitted(service))
        return;
    service.add(resultRequest(text));
}

QList<SavedTab> missedSince(const QList<SavedTab> &tabs, const QDateTime &since, const QDateTime &now)
{
    QList<SavedTab> missed;
    for (const SavedTab &tab : tabs) {
        if (tab.reminderAt && *tab.reminderAt > since && *tab.reminderAt <= now)
            missed.append(tab);
    }
    return missed;
}

void postNow(NotificationService &service, const SavedTab &tab)
{
    if (!isUsable() || !permitted(service))
        return;
    NotificationRequest request = reminderRequest(tab);
    request.fireAt.reset();
    service.add(request);
}

void cancel(NotificationService &service, const QUuid &tabId)
{
    if (!isUsable())
        return;
    service.removePending({reminderPrefix + uuidText(tabId)});
}

QDateTime laterDate(const QDateTime &now)
{
    const QDateTime local = now.toLocalTime();
    const QDateTime next = local.addDays(1);
    QDateTime at(next.date(), QTime(9, 0));
    // A 09:00 that does not exist on that day moves forward to the next valid time.
    if (!at.isValid())
        return next;
    return at;
}

} // namespace Reminders
