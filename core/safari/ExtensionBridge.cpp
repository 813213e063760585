#include "ExtensionBridge.h"

#include <QJsonArray>
#include <QProcess>
#include <QUrl>

#include "WebAddress.h"

ExtensionBridge::ExtensionBridge(BrowserHub *hub, std::chrono::milliseconds limit, DefaultOpener openDefault)
    : m_hub(hub)
    , m_limit(limit)
    , m_openDefault(std::move(openDefault))
{
    if (!m_openDefault) {
        m_openDefault = [](const QUrl &url) {
            QProcess::startDetached(QStringLiteral("xdg-open"), {url.toString(QUrl::FullyEncoded)});
        };
    }
}

bool ExtensionBridge::isSafariRunning() const
{
    return !m_hub->browsers().isEmpty();
}

QList<ConnectedBrowser> ExtensionBridge::connectedBrowsers() const
{
    return m_hub->browsers();
}

SafariResult<QJsonObject> ExtensionBridge::ask(int browserId, const QJsonObject &message,
                                               std::chrono::milliseconds extra)
{
    Result<QJsonObject> answer = m_hub->request(browserId, message, m_limit + extra);
    if (!answer)
        return SafariError::scriptFailed(0, answer.error());
    return std::move(answer).value();
}

QList<SafariTab> ExtensionBridge::tabsOf(const QJsonArray &tabs)
{
    QList<SafariTab> out;
    for (qsizetype j = 0; j < tabs.size(); ++j) {
        const QJsonObject tab = tabs.at(j).toObject();
        const QString url = tab.value(QStringLiteral("url")).toString();
        if (isEmptyPage(url))
            continue;
        const QJsonValue title = tab.value(QStringLiteral("title"));
        const int index = tab.contains(QStringLiteral("index")) ? tab.value(QStringLiteral("index")).toInt() + 1
                                                                 : int(j) + 1;
        out.append({title.isString() ? title.toString() : url, url, index});
    }
    return out;
}

bool ExtensionBridge::isEmptyPage(const QString &url)
{
    if (url.isEmpty() || url.startsWith(QLatin1String("favorites:")))
        return true;
    const QUrl parsed(url);
    const QString scheme = parsed.scheme().toLower();
    if (scheme == u"about") {
        static const QStringList pages = {QStringLiteral("blank"), QStringLiteral("home"),
                                          QStringLiteral("newtab"), QStringLiteral("privatebrowsing"),
                                          QStringLiteral("welcome")};
        return pages.contains(parsed.path().toLower());
    }
    // Chromium and the browsers built on it name their new-tab pages alike.
    static const QStringList schemes = {QStringLiteral("chrome"), QStringLiteral("chrome-search"),
                                        QStringLiteral("edge"), QStringLiteral("brave"),
                                        QStringLiteral("vivaldi")};
    static const QStringList hosts = {QStringLiteral("newtab"), QStringLiteral("new-tab-page"),
                                      QStringLiteral("new-tab-page-third-party"), QStringLiteral("local-ntp"),
                                      QStringLiteral("startpage")};
    return schemes.contains(scheme) && hosts.contains(parsed.host().toLower());
}

bool ExtensionBridge::keeps(const QString &url, const QStringList &lowerKeepDomains)
{
    // Host names know no case, and the keep list is lower-cased already.
    for (const QString &domain : lowerKeepDomains)
        if (url.contains(domain, Qt::CaseInsensitive))
            return true;
    return false;
}

SafariResult<QList<SafariWindow>> ExtensionBridge::snapshotWindows()
{
    return m_gate.run([&] { return snapshotNow(); });
}

SafariResult<SafariTabCount> ExtensionBridge::countTabs()
{
    return m_gate.run([&] { return countNow(); });
}

SafariResult<int> ExtensionBridge::closeTabs(const QSet<QString> &savedUrls, const QStringList &keepDomains)
{
    return m_gate.run([&] { return closeNow(savedUrls, keepDomains); });
}

SafariStatus ExtensionBridge::reopen(const QList<QUrl> &urls, bool newWindow)
{
    QList<QUrl> web;
    QList<QUrl> others;
    for (const QUrl &url : urls)
        (WebAddress::opensInBrowserTab(url) ? web : others).append(url);
    if (!web.isEmpty()) {
        const SafariStatus opened = m_gate.run([&] { return openInBrowser(web, newWindow); });
        if (!opened)
            return opened;
    }
    for (const QUrl &url : std::as_const(others))
        m_openDefault(url);
    return Done{};
}

SafariResult<QList<SafariWindow>> ExtensionBridge::snapshotNow()
{
    const QList<ConnectedBrowser> browsers = m_hub->browsers();
    if (browsers.isEmpty())
        return SafariError::notRunning();
    QList<SafariWindow> windows;
    int number = 0;
    for (const ConnectedBrowser &browser : browsers) {
        const SafariResult<QJsonObject> answer = ask(browser.id, {{QStringLiteral("type"), QStringLiteral("list")}});
        if (!answer)
            return answer.error();
        for (const QJsonValue &window : answer->value(QStringLiteral("windows")).toArray()) {
            ++number;
            QList<SafariTab> tabs = tabsOf(window.toObject().value(QStringLiteral("tabs")).toArray());
            if (!tabs.isEmpty())
                windows.append({number, std::move(tabs)});
        }
    }
    return windows;
}

SafariResult<SafariTabCount> ExtensionBridge::countNow()
{
    const QList<ConnectedBrowser> browsers = m_hub->browsers();
    if (browsers.isEmpty())
        return SafariError::notRunning();
    SafariTabCount count;
    for (const ConnectedBrowser &browser : browsers) {
        const SafariResult<QJsonObject> answer = ask(browser.id, {{QStringLiteral("type"), QStringLiteral("count")}});
        if (!answer)
            return answer.error();
        count.tabs += answer->value(QStringLiteral("tabs")).toInt();
        count.windows += answer->value(QStringLiteral("windows")).toInt();
    }
    return count;
}

SafariResult<int> ExtensionBridge::closeNow(const QSet<QString> &savedUrls, const QStringList &keepDomains)
{
    const QList<ConnectedBrowser> browsers = m_hub->browsers();
    if (browsers.isEmpty())
        return SafariError::notRunning();
    QStringList keep;
    for (const QString &domain : keepDomains)
        keep.append(domain.toLower());
    int closed = 0;
    for (const ConnectedBrowser &browser : browsers) {
        const SafariResult<QJsonObject> listed = ask(browser.id, {{QStringLiteral("type"), QStringLiteral("list")}});
        if (!listed)
            return listed.error();
        // The extension closes a tab only if it still shows the address we saw.
        QJsonArray doomed;
        for (const QJsonValue &window : listed->value(QStringLiteral("windows")).toArray()) {
            for (const QJsonValue &value : window.toObject().value(QStringLiteral("tabs")).toArray()) {
                const QJsonObject tab = value.toObject();
                const QString url = tab.value(QStringLiteral("url")).toString();
                if (savedUrls.contains(url) && !keeps(url, keep))
                    doomed.append(QJsonObject{{QStringLiteral("tabId"), tab.value(QStringLiteral("tabId"))},
                                              {QStringLiteral("url"), url}});
            }
        }
        for (const QJsonArray &batch : batches(doomed)) {
            const SafariResult<QJsonObject> answer =
                ask(browser.id, {{QStringLiteral("type"), QStringLiteral("close")}, {QStringLiteral("tabs"), batch}},
                    batch.size() * perTabClosed);
            if (!answer)
                return answer.error();
            closed += answer->value(QStringLiteral("closed")).toInt();
        }
    }
    return closed;
}

QList<QJsonArray> ExtensionBridge::batches(const QJsonArray &items)
{
    QList<QJsonArray> out;
    QJsonArray current;
    qsizetype size = 0;
    for (const QJsonValue &item : items) {
        // The address dominates; the rest of an entry is well under 64 bytes,
        // and escaping at most doubles the address.
        const QString url = item.isString() ? item.toString() : item.toObject().value(QStringLiteral("url")).toString();
        const qsizetype entry = 2 * url.toUtf8().size() + 64;
        // An address this long (a huge data: address) cannot reach the
        // browser at all; sending it would cost the connection.
        if (entry > batchBytes)
            continue;
        if (!current.isEmpty() && size + entry > batchBytes) {
            out.append(current);
            current = {};
            size = 0;
        }
        current.append(item);
        size += entry;
    }
    if (!current.isEmpty())
        out.append(current);
    return out;
}

SafariStatus ExtensionBridge::openInBrowser(const QList<QUrl> &urls, bool newWindow)
{
    if (urls.isEmpty())
        return Done{};
    const QList<ConnectedBrowser> browsers = m_hub->browsers();
    if (browsers.isEmpty())
        return SafariError::notRunning();
    QJsonArray list;
    for (const QUrl &url : urls)
        list.append(url.toString(QUrl::FullyEncoded));
    // Later parts of a long list follow the first into the window it opened.
    QJsonValue windowId;
    bool first = true;
    for (const QJsonArray &part : batches(list)) {
        QJsonObject message{{QStringLiteral("type"), QStringLiteral("open")},
                            {QStringLiteral("urls"), part},
                            {QStringLiteral("newWindow"), first && newWindow}};
        if (windowId.isDouble())
            message.insert(QStringLiteral("windowId"), windowId);
        const SafariResult<QJsonObject> answer = ask(browsers.last().id, message, part.size() * perTabOpened);
        if (!answer)
            return answer.error();
        if (answer->value(QStringLiteral("windowId")).isDouble())
            windowId = answer->value(QStringLiteral("windowId"));
        first = false;
    }
    return Done{};
}

void ExtensionBridge::openWithWorkspace(const QList<QUrl> &urls)
{
    if (urls.isEmpty() || reopen(urls, false))
        return;
    // No browser connected: the desktop's default handler, one address at a time.
    for (const QUrl &url : urls)
        m_openDefault(url);
}
