#pragma once

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QUrl>

#include "ConnectedBrowser.h"
#include "SafariError.h"
#include "SafariTabCount.h"
#include "SafariWindow.h"

// The rest of the system's only way to the browser: read its windows, count
// them, close what was saved and open addresses again. Implementations are
// thread-safe and synchronous; callers run them off the UI thread.
class BrowserBridge
{
public:
    static constexpr auto bundleID = "com.apple.Safari";

    virtual ~BrowserBridge() = default;

    virtual bool isSafariRunning() const = 0;
    virtual SafariResult<QList<SafariWindow>> snapshotWindows() = 0;
    virtual SafariResult<SafariTabCount> countTabs() = 0;
    // Closes every tab whose address is one of savedUrls, unless it contains
    // one of keepDomains; gives the number closed.
    virtual SafariResult<int> closeTabs(const QSet<QString> &savedUrls, const QStringList &keepDomains) = 0;
    virtual SafariStatus reopen(const QList<QUrl> &urls, bool newWindow) = 0;
    // Never fails; addresses that cannot be handed on are dropped.
    virtual void openWithWorkspace(const QList<QUrl> &urls) = 0;
    // The browsers connected through the extension, in connection order, for
    // the settings to show; none where the browser is reached otherwise.
    virtual QList<ConnectedBrowser> connectedBrowsers() const { return {}; }
    // True where the browser counts as connected as soon as its extension
    // is, rather than when the user allowed it once.
    virtual bool connectsByItself() const { return false; }

    // connectedBrowsers() by name, as PlatformWords takes them.
    QStringList connectedNames() const;

    SafariResult<int> closeAllTabs(const QList<SafariWindow> &windows, bool keepPinned,
                                   const QStringList &pinnedDomains);
};
