#pragma once

#include <QUrl>

// Hands an address to the system's default handler; supplied by the app.
class UrlOpener
{
public:
    virtual ~UrlOpener() = default;
    virtual bool open(const QUrl &url) = 0;
};
