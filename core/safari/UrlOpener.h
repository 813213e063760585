#pragma once

#include <QList>
#include <QUrl>

// Opens addresses without a script; supplied by the app.
class UrlOpener
{
public:
    virtual ~UrlOpener() = default;
    // Hands all addresses to Safari in one request that also brings it to
    // the front; false when the system does not know where Safari is.
    virtual bool openInSafari(const QList<QUrl> &urls) = 0;
    // The system's default handler for one address.
    virtual bool open(const QUrl &url) = 0;
};
