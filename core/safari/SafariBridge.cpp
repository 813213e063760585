#include "SafariBridge.h"

#include <algorithm>

#include <QMutexLocker>

SafariBridge::SafariBridge(ScriptRunner *runner, UrlOpener *opener)
    : m_runner(runner), m_opener(opener)
{
    Q_ASSERT(runner);
}

bool SafariBridge::isSafariRunning() const
{
    return m_runner->isRunning(QString::fromLatin1(bundleID));
}

QString SafariBridge::snapshotScript()
{
    return QStringLiteral("tell application \"Safari\"\n"
                          "    set out to {}\n"
                          "    set wi to 0\n"
                          "    repeat with w in (every window)\n"
                          "        set wi to wi + 1\n"
                          "        try\n"
                          "            set us to URL of every tab of w\n"
                          "            set ns to name of every tab of w\n"
                          "            set end of out to {wi, us, ns}\n"
                          "        end try\n"
                          "    end repeat\n"
                          "    return out\n"
                          "end tell");
}

QString SafariBridge::countScript()
{
    return QStringLiteral("tell application \"Safari\"\n"
                          "    set total to 0\n"
                          "    set wc to 0\n"
                          "    repeat with w in (every window)\n"
                          "        try\n"
                          "            set c to count of tabs of w\n"
                          "            if c > 0 then\n"
                          "                set total to total + c\n"
                          "                set wc to wc + 1\n"
                          "            end if\n"
                          "        end try\n"
                          "    end repeat\n"
                          "    return {total, wc}\n"
                          "end tell");
}

QString SafariBridge::quoted(const QString &text)
{
    QString out = text;
    out.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    out.replace(QLatin1Char('"'), QLatin1String("\\\""));
    return QLatin1Char('"') + out + QLatin1Char('"');
}

QString SafariBridge::listLiteral(const QStringList &items)
{
    QStringList literals;
    literals.reserve(items.size());
    for (const QString &item : items)
        literals.append(quoted(item));
    return literals.join(QLatin1String(", "));
}

QString SafariBridge::closeScript(const QSet<QString> &savedUrls, const QStringList &keepDomains)
{
    QStringList saved(savedUrls.cbegin(), savedUrls.cend());
    // QString's operator< compares UTF-16 units; compare code points so the
    // order does not depend on surrogates.
    std::sort(saved.begin(), saved.end(), [](const QString &a, const QString &b) {
        return a.toUcs4() < b.toUcs4();
    });
    QStringList keep;
    keep.reserve(keepDomains.size());
    for (const QString &domain : keepDomains)
        keep.append(domain.toLower());

    return QStringLiteral("tell application \"Safari\"\n"
                          "    set saved to {")
        + listLiteral(saved)
        + QStringLiteral("}\n"
                         "    set keepList to {")
        + listLiteral(keep)
        + QStringLiteral("}\n"
                         "    set closedCount to 0\n"
                         "    set wins to every window\n"
                         "    repeat with wi from (count of wins) to 1 by -1\n"
                         "        set w to item wi of wins\n"
                         "        try\n"
                         "            set tc to count of tabs of w\n"
                         "            repeat with ti from tc to 1 by -1\n"
                         "                try\n"
                         "                    set t to tab ti of w\n"
                         "                    set u to URL of t\n"
                         "                    set keepIt to false\n"
                         "                    repeat with k in keepList\n"
                         "                        if u contains (k as text) then set keepIt to true\n"
                         "                    end repeat\n"
                         "                    if (not keepIt) and (saved contains u) then\n"
                         "                        close t\n"
                         "                        set closedCount to closedCount + 1\n"
                         "                    end if\n"
                         "                end try\n"
                         "            end repeat\n"
                         "        end try\n"
                         "    end repeat\n"
                         "    return closedCount\n"
                         "end tell");
}

QString SafariBridge::reopenScript(const QList<QUrl> &urls, bool newWindow)
{
    QStringList addresses;
    addresses.reserve(urls.size());
    for (const QUrl &url : urls)
        addresses.append(url.toString(QUrl::FullyEncoded));

    return QStringLiteral("tell application \"Safari\"\n"
                          "    set theURLs to {")
        + listLiteral(addresses)
        + QStringLiteral("}\n"
                         "    set useNew to ")
        + (newWindow ? QStringLiteral("true") : QStringLiteral("false"))
        + QStringLiteral("\n"
                         "    if useNew or (count of windows) is 0 then\n"
                         "        make new document with properties {URL:(item 1 of theURLs)}\n"
                         "        set startAt to 2\n"
                         "    else\n"
                         "        set startAt to 1\n"
                         "    end if\n"
                         "    tell front window\n"
                         "        repeat with i from startAt to (count of theURLs)\n"
                         "            make new tab at end of tabs with properties {URL:(item i of theURLs)}\n"
                         "        end repeat\n"
                         "    end tell\n"
                         "    activate\n"
                         "end tell");
}

QList<std::optional<QString>> SafariBridge::strings(const std::optional<ScriptValue> &value)
{
    QList<std::optional<QString>> out;
    if (!value || value->isMissing())
        return out;
    // A window with one tab answers with a plain value instead of a list.
    if (!value->isList()) {
        out.append(value->stringValue());
        return out;
    }
    for (qsizetype i = 1; i <= value->count(); ++i) {
        const std::optional<ScriptValue> item = value->item(i);
        out.append(item ? item->stringValue() : std::nullopt);
    }
    return out;
}

QList<SafariWindow> SafariBridge::parseWindows(const ScriptValue &answer)
{
    QList<SafariWindow> windows;
    for (qsizetype i = 1; i <= answer.count(); ++i) {
        const std::optional<ScriptValue> entry = answer.item(i);
        if (!entry || entry->isMissing() || entry->count() < 3)
            continue;
        SafariWindow window;
        const std::optional<ScriptValue> number = entry->item(1);
        const std::optional<qint32> index = number ? number->int32Value() : std::nullopt;
        window.index = index ? *index : int(i);
        const QList<std::optional<QString>> urls = strings(entry->item(2));
        const QList<std::optional<QString>> names = strings(entry->item(3));
        for (qsizetype j = 0; j < urls.size(); ++j) {
            const std::optional<QString> &url = urls.at(j);
            if (!url || url->isEmpty() || url->startsWith(QLatin1String("favorites:"))
                || *url == QLatin1String("about:blank"))
                continue;
            const bool named = j < names.size() && names.at(j).has_value();
            window.tabs.append({named ? *names.at(j) : *url, *url, int(j + 1)});
        }
        if (!window.tabs.isEmpty())
            windows.append(window);
    }
    return windows;
}

SafariError SafariBridge::errorFor(const ScriptRunner::Failure &failure)
{
    if (failure.notCompiled)
        return SafariError::scriptFailed(0, QStringLiteral("Skript ungültig"));
    const int number = failure.number.value_or(0);
    switch (number) {
    case -1743:
    case -1744:
        return SafariError::permissionDenied();
    case -600:
    case -609:
        return SafariError::notRunning();
    default:
        return SafariError::scriptFailed(number, failure.message.value_or(QStringLiteral("unbekannt")));
    }
}

SafariResult<ScriptValue> SafariBridge::run(const QString &source, bool requireRunning)
{
    if (requireRunning && !isSafariRunning())
        return SafariError::notRunning();
    QMutexLocker lock(&m_queue);
    ScriptRunner::Outcome outcome = m_runner->run(source);
    if (auto *failure = std::get_if<ScriptRunner::Failure>(&outcome))
        return errorFor(*failure);
    return std::get<ScriptValue>(std::move(outcome));
}

SafariResult<QList<SafariWindow>> SafariBridge::snapshotWindows()
{
    const SafariResult<ScriptValue> answer = run(snapshotScript(), true);
    if (!answer)
        return answer.error();
    return parseWindows(*answer);
}

SafariResult<SafariTabCount> SafariBridge::countTabs()
{
    const SafariResult<ScriptValue> answer = run(countScript(), true);
    if (!answer)
        return answer.error();
    if (answer->count() < 2)
        return SafariTabCount{};
    return SafariTabCount{answer->item(1)->int32Value().value_or(0), answer->item(2)->int32Value().value_or(0)};
}

SafariResult<int> SafariBridge::closeTabs(const QSet<QString> &savedUrls, const QStringList &keepDomains)
{
    const SafariResult<ScriptValue> answer = run(closeScript(savedUrls, keepDomains), true);
    if (!answer)
        return answer.error();
    return int(answer->int32Value().value_or(0));
}

SafariStatus SafariBridge::reopen(const QList<QUrl> &urls, bool newWindow)
{
    if (urls.isEmpty())
        return Done{};
    // No running check: the script starts the browser when needed.
    const SafariResult<ScriptValue> answer = run(reopenScript(urls, newWindow), false);
    if (!answer)
        return answer.error();
    return Done{};
}

void SafariBridge::openWithWorkspace(const QList<QUrl> &urls)
{
    if (!m_opener || urls.isEmpty())
        return;
    if (m_opener->openInSafari(urls))
        return;
    for (const QUrl &url : urls)
        m_opener->open(url);
}
