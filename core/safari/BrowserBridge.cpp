#include "BrowserBridge.h"

SafariResult<int> BrowserBridge::closeAllTabs(const QList<SafariWindow> &windows, bool keepPinned,
                                              const QStringList &pinnedDomains)
{
    QSet<QString> urls;
    for (const SafariWindow &window : windows)
        for (const SafariTab &tab : window.tabs)
            urls.insert(tab.url);
    return closeTabs(urls, keepPinned ? pinnedDomains : QStringList());
}

QStringList BrowserBridge::connectedNames() const
{
    QStringList names;
    for (const ConnectedBrowser &browser : connectedBrowsers())
        names << browser.browser;
    return names;
}
