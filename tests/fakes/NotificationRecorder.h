#pragma once

#include "NotificationService.h"

#include <QList>
#include <QMap>

// Keeps what it is handed, as the desktop's service would; the user's
// answer to the permission question is the test's to set.
class NotificationRecorder final : public NotificationService
{
public:
    Authorisation authorisation() override { return state; }
    bool requestAuthorisation() override;
    void add(const NotificationRequest &request) override;
    void removePending(const QStringList &identifiers) override;
    QStringList pendingIdentifiers() const override { return pending.keys(); }

    Authorisation state = Authorisation::Authorised;
    bool grant = true; // what the user answers when asked
    int asked = 0;
    QList<NotificationRequest> added;
    QMap<QString, NotificationRequest> pending; // dated requests not yet removed
};
