#pragma once

#include <QMutex>

#include <optional>

#include "BrowserBridge.h"

// An in-memory browser: a list of windows the test sets up, a record of what
// it was asked to close, reopen and open, and an optional error every
// script-backed call fails with.
class FakeBrowserBridge final : public BrowserBridge
{
public:
    struct Reopen
    {
        QList<QUrl> urls;
        bool newWindow = false;
        friend bool operator==(const Reopen &, const Reopen &) = default;
    };

    void setWindows(QList<SafariWindow> windows);
    QList<SafariWindow> windows() const;
    void setRunning(bool running);
    void failWith(std::optional<SafariError> error);
    // Acts as the extension bridge does: the browsers named (as extensions
    // name them) are connected, and the browser runs while one is.
    void setExtensionBrowsers(const QStringList &names);

    QList<QSet<QString>> closeRequests() const;
    QList<QStringList> keepRequests() const;
    QList<Reopen> reopenRequests() const;
    QList<QUrl> openedWithWorkspace() const;

    bool isSafariRunning() const override;
    SafariResult<QList<SafariWindow>> snapshotWindows() override;
    SafariResult<SafariTabCount> countTabs() override;
    // Removes the matching tabs from the windows, as the browser would.
    SafariResult<int> closeTabs(const QSet<QString> &savedUrls, const QStringList &keepDomains) override;
    SafariStatus reopen(const QList<QUrl> &urls, bool newWindow) override;
    void openWithWorkspace(const QList<QUrl> &urls) override;
    QList<ConnectedBrowser> connectedBrowsers() const override;
    bool connectsByItself() const override;

private:
    std::optional<SafariError> refusal() const;

    mutable QMutex m_mutex;
    QList<SafariWindow> m_windows;
    bool m_running = true;
    std::optional<SafariError> m_error;
    std::optional<QStringList> m_extensionBrowsers;
    QList<QSet<QString>> m_closeRequests;
    QList<QStringList> m_keepRequests;
    QList<Reopen> m_reopenRequests;
    QList<QUrl> m_opened;
};
