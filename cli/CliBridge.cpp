#include "CliBridge.h"

#include <QStringList>

#include <chrono>
#include <utility>

#include "BrowserHub.h"
#include "ExtensionBridge.h"

using namespace std::chrono_literals;

namespace {

// Hosts retry about once a second, so every running browser is back within
// a few seconds of the hub appearing. Tests, whose fake browsers connect at
// once, shorten both waits with PELLMORA_BROWSER_WAIT_MS=<first>,<quiet>.
std::pair<std::chrono::milliseconds, std::chrono::milliseconds> browserWaits()
{
    const QStringList set = qEnvironmentVariable("PELLMORA_BROWSER_WAIT_MS").split(u',');
    if (set.size() == 2)
        return {std::chrono::milliseconds(set[0].toInt()), std::chrono::milliseconds(set[1].toInt())};
    return {4s, 1500ms};
}

QString lastFailure = QStringLiteral("Keine Verbindung zum Browser.");

// The bridge keeps the hub it talks through.
class OwnHubBridge final : public BrowserBridge
{
public:
    explicit OwnHubBridge(std::unique_ptr<BrowserHub> hub) : m_hub(std::move(hub)), m_bridge(m_hub.get()) {}

    bool isSafariRunning() const override { return m_bridge.isSafariRunning(); }
    SafariResult<QList<SafariWindow>> snapshotWindows() override { return m_bridge.snapshotWindows(); }
    SafariResult<SafariTabCount> countTabs() override { return m_bridge.countTabs(); }
    SafariResult<int> closeTabs(const QSet<QString> &savedUrls, const QStringList &keepDomains) override
    {
        return m_bridge.closeTabs(savedUrls, keepDomains);
    }
    SafariStatus reopen(const QList<QUrl> &urls, bool newWindow) override { return m_bridge.reopen(urls, newWindow); }
    void openWithWorkspace(const QList<QUrl> &urls) override { m_bridge.openWithWorkspace(urls); }
    QList<ConnectedBrowser> connectedBrowsers() const override { return m_bridge.connectedBrowsers(); }

private:
    std::unique_ptr<BrowserHub> m_hub;
    ExtensionBridge m_bridge;
};

} // namespace

std::unique_ptr<BrowserBridge> makeCliBridge()
{
    const QString socket = BrowserHub::defaultSocketPath();
    // Two hubs cannot share the browsers; while the app runs, it sleeps them.
    if (BrowserHub::inUse(socket)) {
        lastFailure = QStringLiteral("Pellmora läuft bereits und ist mit dem Browser verbunden. "
                                     "Tabs bitte in Pellmora schlafen legen oder Pellmora zuerst beenden.");
        return nullptr;
    }
    auto hub = std::make_unique<BrowserHub>(socket);
    if (const Status started = hub->start(); !started) {
        lastFailure = QStringLiteral("Keine Verbindung zum Browser: ") + started.error();
        return nullptr;
    }
    if (const auto [firstBrowserLimit, quietAfterLast] = browserWaits();
        hub->waitForSettled(firstBrowserLimit, quietAfterLast) == 0) {
        lastFailure = QStringLiteral("Kein Browser mit der Pellmora-Erweiterung ist verbunden. Browser öffnen, "
                                     "die Erweiterung einrichten (scripts/install-browser-host) und nochmals "
                                     "versuchen. Mit «pellmora-cli sleep --demo» läuft der Ablauf mit den "
                                     "Beispieltabs.");
        return nullptr;
    }
    return std::make_unique<OwnHubBridge>(std::move(hub));
}

QString noCliBridgeMessage()
{
    return lastFailure;
}
