#include "NotificationRecorder.h"

bool NotificationRecorder::requestAuthorisation()
{
    ++asked;
    state = grant ? Authorisation::Authorised : Authorisation::Denied;
    return grant;
}

void NotificationRecorder::add(const NotificationRequest &request)
{
    added.append(request);
    if (request.fireAt)
        pending.insert(request.identifier, request);
}

void NotificationRecorder::removePending(const QStringList &identifiers)
{
    for (const QString &id : identifiers)
        pending.remove(id);
}
