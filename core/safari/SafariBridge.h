#pragma once

#include <QMutex>

#include <optional>

#include "BrowserBridge.h"
#include "ScriptRunner.h"
#include "UrlOpener.h"

// The browser reached through scripts: every operation is one script text,
// run one at a time through the runner.
class SafariBridge final : public BrowserBridge
{
public:
    // Neither is owned; opener may be null (then opening does nothing).
    SafariBridge(ScriptRunner *runner, UrlOpener *opener);

    bool isSafariRunning() const override;
    SafariResult<QList<SafariWindow>> snapshotWindows() override;
    SafariResult<SafariTabCount> countTabs() override;
    SafariResult<int> closeTabs(const QSet<QString> &savedUrls, const QStringList &keepDomains) override;
    SafariStatus reopen(const QList<QUrl> &urls, bool newWindow) override;
    void openWithWorkspace(const QList<QUrl> &urls) override;

    static QString snapshotScript();
    static QString countScript();
    static QString closeScript(const QSet<QString> &savedUrls, const QStringList &keepDomains);
    static QString reopenScript(const QList<QUrl> &urls, bool newWindow);
    static QString quoted(const QString &text);
    static QString listLiteral(const QStringList &items);

    static QList<SafariWindow> parseWindows(const ScriptValue &answer);
    static QList<std::optional<QString>> strings(const std::optional<ScriptValue> &value);
    static SafariError errorFor(const ScriptRunner::Failure &failure);

private:
    SafariResult<ScriptValue> run(const QString &source, bool requireRunning);

    ScriptRunner *m_runner;
    UrlOpener *m_opener;
    QMutex m_queue; // one script at a time, in the order they arrive
};
