#pragma once

#include "NotificationRequest.h"

#include <QObject>
#include <QStringList>

// What the system needs of the platform's notification service.
class NotificationService : public QObject
{
    Q_OBJECT
public:
    enum class Authorisation { NotDetermined, Denied, Authorised, Provisional, Ephemeral };

    using QObject::QObject;
    ~NotificationService() override = default;

    virtual Authorisation authorisation() = 0;
    // Asks the user; true when granted.
    virtual bool requestAuthorisation() = 0;
    virtual void add(const NotificationRequest &request) = 0;
    virtual void removePending(const QStringList &identifiers) = 0;
    virtual QStringList pendingIdentifiers() const = 0;

signals:
    void answered(const NotificationAnswer &answer);
};
