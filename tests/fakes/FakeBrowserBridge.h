#pragma once

#include <QHash>
#include <QMutex>

#include <optional>

#include "BrowserBridge.h"

// An in-memory browser: a list of windows the test sets up, a record of what
// it was asked to close, reopen and open, and failure switches: an error
// every call fails with, one call that fails, or a browser that quits after
// a call succeeded.
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
    enum class Call { Snapshot, Count, Close, Reopen };
    // Every call fails with the error (none: calls succeed again).
    void failWith(std::optional<SafariError> error);
    // Only this call fails, every time.
    void failOn(Call call, std::optional<SafariError> error);
    // Once this call has succeeded, every later call fails, as when the
    // browser quits in the middle of a run.
    void failAfter(Call call, SafariError error);
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
    std::optional<SafariError> refusal(Call call) const;
    void succeeded(Call call);

    mutable QMutex m_mutex;
    QList<SafariWindow> m_windows;
    bool m_running = true;
    std::optional<SafariError> m_error;
    QHash<Call, SafariError> m_failing;
    std::optional<std::pair<Call, SafariError>> m_quitAfter;
    std::optional<QStringList> m_extensionBrowsers;
    QList<QSet<QString>> m_closeRequests;
    QList<QStringList> m_keepRequests;
    QList<Reopen> m_reopenRequests;
    QList<QUrl> m_opened;
};
