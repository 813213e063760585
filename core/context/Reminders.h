#pragma once

#include "Clock.h"
#include "Hint.h"
#include "NotificationRequest.h"
#include "SavedTab.h"

#include <QList>
#include <QString>
#include <QUuid>

class NotificationService;

// Builds reminder and hint notifications and keeps the pending reminders in
// step with the library. Keeps no state; the service keeps the requests.
namespace Reminders {

inline constexpr auto categoryHint = "PELLMORA_HINT";
inline constexpr auto actionOpen = "OPEN";
inline constexpr auto actionLater = "LATER";
inline constexpr auto actionDismiss = "DISMISS";
inline constexpr auto actionDefault = "default";

// Button title of each action, in the order they are offered.
QList<std::pair<QString, QString>> actions();

// The desktop application switches notifications on at start-up; the
// command-line companion and tests never do unless they ask for it.
void setEnabled(bool enabled);
// Switched on, a session bus present and PELLMORA_NO_NOTIFICATIONS absent.
bool isUsable();

QString uuidText(const QUuid &id);
NotificationRequest reminderRequest(const SavedTab &tab);
NotificationRequest hintRequest(const Hint &hint, const SavedTab &tab);

bool ensurePermission(NotificationService &service);
void schedule(NotificationService &service, const SavedTab &tab, const Clock &clock = Clock::system());
void rescheduleAll(NotificationService &service, const QList<SavedTab> &tabs,
                   const Clock &clock = Clock::system());
void postHint(NotificationService &service, const Hint &hint, const SavedTab &tab);
// Reminders due after `since` and at or before `now`: those that came due
// while nothing ran that could post them.
QList<SavedTab> missedSince(const QList<SavedTab> &tabs, const QDateTime &since, const QDateTime &now);
// Posts a reminder at once, as for one that came due unseen; never asks for
// permission (it runs at start-up).
void postNow(NotificationService &service, const SavedTab &tab);
void cancel(NotificationService &service, const QUuid &tabId);
// The outcome of a sleep run, for a user who no longer sees the popover; a
// newer outcome replaces an older one. No tab, so no answers to give.
NotificationRequest resultRequest(const QString &text);
void postResult(NotificationService &service, const QString &text);

// When "Später" puts the reminder: 09:00 local on the next calendar day.
QDateTime laterDate(const QDateTime &now);

} // namespace Reminders
