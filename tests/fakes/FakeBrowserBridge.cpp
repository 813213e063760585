#include "FakeBrowserBridge.h"

#include <QMutexLocker>

void FakeBrowserBridge::setWindows(QList<SafariWindow> windows)
{
    QMutexLocker lock(&m_mutex);
    m_windows = std::move(windows);
}

QList<SafariWindow> FakeBrowserBridge::windows() const
{
    QMutexLocker lock(&m_mutex);
    return m_windows;
}

void FakeBrowserBridge::setRunning(bool running)
{
    QMutexLocker lock(&m_mutex);
    m_running = running;
}

void FakeBrowserBridge::failWith(std::optional<SafariError> error)
{
    QMutexLocker lock(&m_mutex);
    m_error = std::move(error);
}

void FakeBrowserBridge::failOn(Call call, std::optional<SafariError> error)
{
    QMutexLocker lock(&m_mutex);
    if (error)
        m_failing.insert(call, *error);
    else
        m_failing.remove(call);
}

void FakeBrowserBridge::failAfter(Call call, SafariError error)
{
    QMutexLocker lock(&m_mutex);
    m_quitAfter = std::pair(call, std::move(error));
}

void FakeBrowserBridge::succeeded(Call call)
{
    if (m_quitAfter && m_quitAfter->first == call) {
        m_error = m_quitAfter->second;
        m_quitAfter.reset();
    }
}

QList<QSet<QString>> FakeBrowserBridge::closeRequests() const
{
    QMutexLocker lock(&m_mutex);
    return m_closeRequests;
}

QList<QStringList> FakeBrowserBridge::keepRequests() const
{
    QMutexLocker lock(&m_mutex);
    return m_keepRequests;
}

QList<FakeBrowserBridge::Reopen> FakeBrowserBridge::reopenRequests() const
{
    QMutexLocker lock(&m_mutex);
    return m_reopenRequests;
}

QList<QUrl> FakeBrowserBridge::openedWithWorkspace() const
{
    QMutexLocker lock(&m_mutex);
    return m_opened;
}

void FakeBrowserBridge::setExtensionBrowsers(const QStringList &names)
{
    QMutexLocker lock(&m_mutex);
    m_extensionBrowsers = names;
    m_running = !names.isEmpty();
}

QList<ConnectedBrowser> FakeBrowserBridge::connectedBrowsers() const
{
    QMutexLocker lock(&m_mutex);
    QList<ConnectedBrowser> browsers;
    for (const QString &name : m_extensionBrowsers.value_or(QStringList()))
        browsers.append(ConnectedBrowser{int(browsers.size()) + 1, name, name, 1});
    return browsers;
}

bool FakeBrowserBridge::connectsByItself() const
{
    QMutexLocker lock(&m_mutex);
    return m_extensionBrowsers.has_value();
}

bool FakeBrowserBridge::isSafariRunning() const
{
    QMutexLocker lock(&m_mutex);
    return m_running;
}

std::optional<SafariError> FakeBrowserBridge::refusal(Call call) const
{
    if (m_failing.contains(call))
        return *m_failing.constFind(call);
    if (m_error)
        return m_error;
    if (!m_running)
        return SafariError::notRunning();
    return std::nullopt;
}

SafariResult<QList<SafariWindow>> FakeBrowserBridge::snapshotWindows()
{
    QMutexLocker lock(&m_mutex);
    if (auto error = refusal(Call::Snapshot))
        return *error;
    QList<SafariWindow> out;
    for (const SafariWindow &window : m_windows)
        if (!window.tabs.isEmpty())
            out.append(window);
    succeeded(Call::Snapshot);
    return out;
}

SafariResult<SafariTabCount> FakeBrowserBridge::countTabs()
{
    QMutexLocker lock(&m_mutex);
    if (auto error = refusal(Call::Count))
        return *error;
    SafariTabCount count;
    for (const SafariWindow &window : m_windows) {
        if (window.tabs.isEmpty())
            continue;
        count.tabs += int(window.tabs.size());
        ++count.windows;
    }
    succeeded(Call::Count);
    return count;
}

SafariResult<int> FakeBrowserBridge::closeTabs(const QSet<QString> &savedUrls, const QStringList &keepDomains)
{
    QMutexLocker lock(&m_mutex);
    if (auto error = refusal(Call::Close))
        return *error;
    m_closeRequests.append(savedUrls);
    m_keepRequests.append(keepDomains);
    int closed = 0;
    for (SafariWindow &window : m_windows) {
        const auto kept = [&](const SafariTab &tab) {
            for (const QString &domain : keepDomains)
                if (tab.url.contains(domain.toLower()))
                    return true;
            return false;
        };
        closed += int(window.tabs.removeIf(
            [&](const SafariTab &tab) { return !kept(tab) && savedUrls.contains(tab.url); }));
    }
    succeeded(Call::Close);
    return closed;
}

SafariStatus FakeBrowserBridge::reopen(const QList<QUrl> &urls, bool newWindow)
{
    QMutexLocker lock(&m_mutex);
    if (urls.isEmpty())
        return Done{};
    if (m_failing.contains(Call::Reopen))
        return *m_failing.constFind(Call::Reopen);
    if (m_error)
        return *m_error;
    m_reopenRequests.append({urls, newWindow});
    succeeded(Call::Reopen);
    // Reopening starts the browser, like the real script does.
    m_running = true;
    return Done{};
}

void FakeBrowserBridge::openWithWorkspace(const QList<QUrl> &urls)
{
    QMutexLocker lock(&m_mutex);
    m_opened.append(urls);
}
