#include "NotificationAnswers.h"

#include <QUuid>

#include "AppModel.h"
#include "Library.h"
#include "Reminders.h"

namespace NotificationAnswers {

Outcome apply(AppModel &model, const NotificationAnswer &answer, const Clock &clock)
{
    const QUuid id = QUuid::fromString(answer.userInfo.value(QStringLiteral("tabId")));
    if (id.isNull())
        return Outcome::Ignored;
    // The tab may have been deleted since the notification was posted.
    const std::optional<SavedTab> tab = model.library().data().tab(id);
    if (!tab)
        return Outcome::Ignored;

    if (answer.action == QLatin1String(Reminders::actionDismiss)) {
        model.dismissHint(*tab);
        return Outcome::Dismissed;
    }
    if (answer.action == QLatin1String(Reminders::actionLater)) {
        model.setReminder({*tab}, Reminders::laterDate(clock.now()));
        return Outcome::Later;
    }
    if (answer.action == QLatin1String(Reminders::actionOpen)) {
        model.open({*tab});
        return Outcome::Opened;
    }
    model.setDetailTab(*tab);
    return Outcome::ShowDetail;
}

} // namespace NotificationAnswers
