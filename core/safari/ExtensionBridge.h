#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QList>

#include <chrono>
#include <functional>

#include "BrowserBridge.h"
#include "BrowserHub.h"
#include "SerialGate.h"

// The browser reached through the Pellmora extension in Chromium or Firefox:
// every connected browser counts; windows are numbered 1… across browsers in
// connection order, and addresses reopen in the browser connected last.
// Operations run one at a time, first come first served, whatever thread
// they come from: a reopen never slips between a sleep run's listing and
// its closing.
class ExtensionBridge final : public BrowserBridge
{
public:
    // Opens one address with the desktop's default handler.
    using DefaultOpener = std::function<void(const QUrl &url)>;

    // hub is not owned and must be started. Without an opener, xdg-open is used.
    explicit ExtensionBridge(BrowserHub *hub, std::chrono::milliseconds limit = std::chrono::seconds(10),
                             DefaultOpener openDefault = {});

    bool isSafariRunning() const override;
    SafariResult<QList<SafariWindow>> snapshotWindows() override;
    SafariResult<SafariTabCount> countTabs() override;
    SafariResult<int> closeTabs(const QSet<QString> &savedUrls, const QStringList &keepDomains) override;
    // Web pages go to the browser; addresses a browser tab refuses (scripts,
    // inline data, the browser's own pages) to the default handler.
    SafariStatus reopen(const QList<QUrl> &urls, bool newWindow) override;
    void openWithWorkspace(const QList<QUrl> &urls) override;

    QList<ConnectedBrowser> connectedBrowsers() const override;
    bool connectsByItself() const override { return true; }

    // One window as a browser listed it, before numbering; empty tabs
    // (isEmptyPage) leave gaps in the positions.
    static QList<SafariTab> tabsOf(const QJsonArray &tabs);
    // An empty address or a browser's own blank, start or new-tab page: there
    // is nothing to keep, and the empty tab left open after a run is one.
    static bool isEmptyPage(const QString &url);
    static bool keeps(const QString &url, const QStringList &lowerKeepDomains);
    // Tabs to close ({tabId, url}) or addresses to open, split so that no
    // request comes near the 1 MB a browser accepts in one message. An item
    // too long for any request is left out: that tab stays open, that
    // address is skipped like one the browser refuses.
    static QList<QJsonArray> batches(const QJsonArray &items);
    static constexpr qsizetype batchBytes = 256 * 1024;

private:
    // A browser takes a while for every tab it opens or closes; a long list
    // gets that much longer than the time limit.
    static constexpr std::chrono::milliseconds perTabClosed{20};
    static constexpr std::chrono::milliseconds perTabOpened{100};

    SafariResult<QJsonObject> ask(int browserId, const QJsonObject &message, std::chrono::milliseconds extra = {});
    SafariResult<QList<SafariWindow>> snapshotNow();
    SafariResult<SafariTabCount> countNow();
    SafariResult<int> closeNow(const QSet<QString> &savedUrls, const QStringList &keepDomains);
    SafariStatus openInBrowser(const QList<QUrl> &urls, bool newWindow);

    BrowserHub *m_hub;
    std::chrono::milliseconds m_limit;
    DefaultOpener m_openDefault;
    SerialGate m_gate;
};
