#pragma once

#include <QString>

// A browser whose extension is connected and has said hello. `id` grows with
// every connection, so sorting by it gives the connection order.
struct ConnectedBrowser
{
    int id = 0;
    QString browser;  // as the extension names it, e.g. "chromium", "firefox"
    QString instance; // stays the same for one browser profile
    int protocol = 0;

    friend bool operator==(const ConnectedBrowser &, const ConnectedBrowser &) = default;
};
