#include <QTest>

#include "FakeScriptRunner.h"
#include "SafariBridge.h"
#include "TestRegistry.h"

namespace {

using V = ScriptValue;

V s(const char *text)
{
    return V::string(QString::fromUtf8(text));
}

V l(QList<V> items)
{
    return V::list(std::move(items));
}

ScriptRunner::Failure failure(std::optional<int> number, std::optional<QString> message)
{
    return {number, std::move(message), false};
}

class RecordingOpener final : public UrlOpener
{
public:
    bool openInSafari(const QList<QUrl> &urls) override
    {
        if (!knowsSafari)
            return false;
        safariRequests.append(urls);
        return true;
    }
    bool open(const QUrl &url) override
    {
        opened.append(url);
        return true;
    }
    bool knowsSafari = false;
    QList<QList<QUrl>> safariRequests;
    QList<QUrl> opened;
};

} // namespace

class TestSafariBridge : public QObject
{
    Q_OBJECT

private slots:
    void fixedScripts();
    void closeScript_data();
    void closeScript();
    void reopenScript_data();
    void reopenScript();
    void parseWindows_data();
    void parseWindows();
    void errors_data();
    void errors();
    void countTabs_data();
    void countTabs();
    void notRunningRunsNothing();
    void reopenEmptyRunsNothing();
    void openWithWorkspace_data();
    void openWithWorkspace();
};

void TestSafariBridge::fixedScripts()
{
    // Written out line by line so a change in spacing shows.
    const QStringList snapshot{
        "tell application \"Safari\"",
        "    set out to {}",
        "    set wi to 0",
        "    repeat with w in (every window)",
        "        set wi to wi + 1",
        "        try",
        "            set us to URL of every tab of w",
        "            set ns to name of every tab of w",
        "            set end of out to {wi, us, ns}",
        "        end try",
        "    end repeat",
        "    return out",
        "end tell",
    };
    QCOMPARE(SafariBridge::snapshotScript(), snapshot.join('\n'));
    const QStringList count{
        "tell application \"Safari\"",
        "    set total to 0",
        "    set wc to 0",
        "    repeat with w in (every window)",
        "        try",
        "            set c to count of tabs of w",
        "            if c > 0 then",
        "                set total to total + c",
        "                set wc to wc + 1",
        "            end if",
        "        end try",
        "    end repeat",
        "    return {total, wc}",
        "end tell",
    };
    QCOMPARE(SafariBridge::countScript(), count.join('\n'));
}

void TestSafariBridge::closeScript_data()
{
    QTest::addColumn<QStringList>("saved");
    QTest::addColumn<QStringList>("keep");
    QTest::addColumn<QString>("savedLine");
    QTest::addColumn<QString>("keepLine");

    QTest::newRow("empty") << QStringList{} << QStringList{} << "    set saved to {}" << "    set keepList to {}";
    QTest::newRow("sorted, keep lower-cased")
        << QStringList{"https://b.example/", "https://a.example/", "https://B.example/"}
        << QStringList{"Mail.Example.COM", "docs"}
        << R"(    set saved to {"https://B.example/", "https://a.example/", "https://b.example/"})"
        << R"(    set keepList to {"mail.example.com", "docs"})";
    QTest::newRow("quotes and backslashes")
        << QStringList{R"(https://x.example/?q="a"\b)"} << QStringList{R"(we"ird\)"}
        << R"(    set saved to {"https://x.example/?q=\"a\"\\b"})" << R"(    set keepList to {"we\"ird\\"})";
    QTest::newRow("code point order beyond the basic plane")
        << QStringList{QString::fromUtf8("https://e.example/\U0001F600"), QString::fromUtf8("https://e.example/\uFFFD")}
        << QStringList{}
        << QString::fromUtf8("    set saved to {\"https://e.example/\uFFFD\", \"https://e.example/\U0001F600\"}")
        << "    set keepList to {}";
}

void TestSafariBridge::closeScript()
{
    QFETCH(QStringList, saved);
    QFETCH(QStringList, keep);
    QFETCH(QString, savedLine);
    QFETCH(QString, keepLine);

    const QStringList rest{
        "    set closedCount to 0",
        "    set wins to every window",
        "    repeat with wi from (count of wins) to 1 by -1",
        "        set w to item wi of wins",
        "        try",
        "            set tc to count of tabs of w",
        "            repeat with ti from tc to 1 by -1",
        "                try",
        "                    set t to tab ti of w",
        "                    set u to URL of t",
        "                    set keepIt to false",
        "                    repeat with k in keepList",
        "                        if u contains (k as text) then set keepIt to true",
        "                    end repeat",
        "                    if (not keepIt) and (saved contains u) then",
        "                        close t",
        "                        set closedCount to closedCount + 1",
        "                    end if",
        "                end try",
        "            end repeat",
        "        end try",
        "    end repeat",
        "    return closedCount",
        "end tell",
    };
    const QString expected = (QStringList{"tell application \"Safari\"", savedLine, keepLine} + rest).join('\n');

    FakeScriptRunner runner;
    runner.enqueue(V::integer(2));
    SafariBridge bridge(&runner, nullptr);
    const SafariResult<int> closed = bridge.closeTabs(QSet<QString>(saved.cbegin(), saved.cend()), keep);
    QVERIFY(closed.ok());
    QCOMPARE(*closed, 2);
    QCOMPARE(runner.scripts(), QStringList{expected});
}

void TestSafariBridge::reopenScript_data()
{
    QTest::addColumn<QList<QUrl>>("urls");
    QTest::addColumn<bool>("newWindow");
    QTest::addColumn<QString>("head");

    QTest::newRow("new window") << QList<QUrl>{QUrl("https://a.example/x"), QUrl("https://b.example/")} << true
                                << "    set theURLs to {\"https://a.example/x\", \"https://b.example/\"}\n"
                                   "    set useNew to true";
    QTest::newRow("front window") << QList<QUrl>{QUrl("https://a.example/")} << false
                                  << "    set theURLs to {\"https://a.example/\"}\n    set useNew to false";
    QTest::newRow("backslash kept, quote encoded")
        << QList<QUrl>{QUrl::fromEncoded(R"(https://a.example/a\b)")} << false
        << R"(    set theURLs to {"https://a.example/a%5Cb"})"
           "\n    set useNew to false";
}

void TestSafariBridge::reopenScript()
{
    QFETCH(QList<QUrl>, urls);
    QFETCH(bool, newWindow);
    QFETCH(QString, head);

    const QStringList tail{
        "    if useNew or (count of windows) is 0 then",
        "        make new document with properties {URL:(item 1 of theURLs)}",
        "        set startAt to 2",
        "    else",
        "        set startAt to 1",
        "    end if",
        "    tell front window",
        "        repeat with i from startAt to (count of theURLs)",
        "            make new tab at end of tabs with properties {URL:(item i of theURLs)}",
        "        end repeat",
        "    end tell",
        "    activate",
        "end tell",
    };
    const QString expected = "tell application \"Safari\"\n" + head + '\n' + tail.join('\n');

    FakeScriptRunner runner;
    runner.setRunning(false); // reopening starts the browser itself
    SafariBridge bridge(&runner, nullptr);
    QVERIFY(bridge.reopen(urls, newWindow).ok());
    QCOMPARE(runner.scripts(), QStringList{expected});
}

void TestSafariBridge::parseWindows_data()
{
    QTest::addColumn<ScriptValue>("answer");
    QTest::addColumn<QList<SafariWindow>>("expected");

    QTest::newRow("no windows") << l({}) << QList<SafariWindow>{};
    QTest::newRow("two windows with a gap")
        << l({l({V::integer(1), l({s("https://a.example/"), s("https://b.example/")}), l({s("A"), s("B")})}),
              l({V::integer(3), l({s("https://c.example/")}), l({s("C")})})})
        << QList<SafariWindow>{{1, {{"A", "https://a.example/", 1}, {"B", "https://b.example/", 2}}},
                               {3, {{"C", "https://c.example/", 1}}}};
    QTest::newRow("single tab as plain values")
        << l({l({V::integer(2), s("https://solo.example/"), s("Solo")})})
        << QList<SafariWindow>{{2, {{"Solo", "https://solo.example/", 1}}}};
    QTest::newRow("skipped tabs keep positions")
        << l({l({V::integer(1),
                 l({s("favorites://"), s("https://k.example/"), s("about:blank"), s(""), s("https://m.example/")}),
                 l({s("Favoriten"), s("K"), s("Leer"), s(""), s("M")})})})
        << QList<SafariWindow>{{1, {{"K", "https://k.example/", 2}, {"M", "https://m.example/", 5}}}};
    QTest::newRow("window of blank tabs left out")
        << l({l({V::integer(1), l({s("about:blank"), s("favorites://")}), l({s("a"), s("b")})}),
              l({V::integer(2), s("https://z.example/"), s("Z")})})
        << QList<SafariWindow>{{2, {{"Z", "https://z.example/", 1}}}};
    QTest::newRow("missing and empty names")
        << l({l({V::integer(1), l({s("https://n.example/"), s("https://e.example/"), s("https://short.example/")}),
                 l({V(), s("")})})})
        << QList<SafariWindow>{{1,
                                {{"https://n.example/", "https://n.example/", 1},
                                 {"", "https://e.example/", 2},
                                 {"https://short.example/", "https://short.example/", 3}}}};
    QTest::newRow("short and missing entries skipped, missing number counted")
        << l({V(), l({V::integer(1), l({s("https://x.example/")})}),
              l({V(), l({s("https://y.example/")}), l({s("Y")})})})
        << QList<SafariWindow>{{3, {{"Y", "https://y.example/", 1}}}};
    QTest::newRow("missing address skipped")
        << l({l({V::integer(4), l({V(), s("https://q.example/")}), l({s("P"), s("Q")})})})
        << QList<SafariWindow>{{4, {{"Q", "https://q.example/", 2}}}};
}

void TestSafariBridge::parseWindows()
{
    QFETCH(ScriptValue, answer);
    QFETCH(QList<SafariWindow>, expected);
    QCOMPARE(SafariBridge::parseWindows(answer), expected);

    FakeScriptRunner runner;
    runner.enqueue(answer);
    SafariBridge bridge(&runner, nullptr);
    const SafariResult<QList<SafariWindow>> windows = bridge.snapshotWindows();
    QVERIFY(windows.ok());
    QCOMPARE(*windows, expected);
    QCOMPARE(runner.scripts(), QStringList{SafariBridge::snapshotScript()});
}

void TestSafariBridge::errors_data()
{
    QTest::addColumn<ScriptRunner::Failure>("failure");
    QTest::addColumn<SafariError>("expected");

    QTest::newRow("-1743") << failure(-1743, "Not authorized") << SafariError::permissionDenied();
    QTest::newRow("-1744") << failure(-1744, "x") << SafariError::permissionDenied();
    QTest::newRow("-600") << failure(-600, "x") << SafariError::notRunning();
    QTest::newRow("-609") << failure(-609, "Connection is invalid.") << SafariError::notRunning();
    QTest::newRow("-1728") << failure(-1728, "Can't get window 9.")
                           << SafariError::scriptFailed(-1728, "Can't get window 9.");
    QTest::newRow("no message") << failure(-2700, std::nullopt) << SafariError::scriptFailed(-2700, "unbekannt");
    QTest::newRow("no number") << failure(std::nullopt, "kaputt") << SafariError::scriptFailed(0, "kaputt");
    QTest::newRow("not compiled") << ScriptRunner::Failure{-2741, "syntax", true}
                                  << SafariError::scriptFailed(0, QString::fromUtf8("Skript ungültig"));
}

void TestSafariBridge::errors()
{
    QFETCH(ScriptRunner::Failure, failure);
    QFETCH(SafariError, expected);
    FakeScriptRunner runner;
    runner.enqueue(failure);
    SafariBridge bridge(&runner, nullptr);
    const SafariResult<QList<SafariWindow>> windows = bridge.snapshotWindows();
    QVERIFY(!windows.ok());
    QCOMPARE(windows.error(), expected);
}

void TestSafariBridge::countTabs_data()
{
    QTest::addColumn<ScriptValue>("answer");
    QTest::addColumn<SafariTabCount>("expected");
    QTest::newRow("pair") << l({V::integer(17), V::integer(3)}) << SafariTabCount{17, 3};
    QTest::newRow("short answer") << l({V::integer(17)}) << SafariTabCount{};
    QTest::newRow("missing") << V() << SafariTabCount{};
}

void TestSafariBridge::countTabs()
{
    QFETCH(ScriptValue, answer);
    QFETCH(SafariTabCount, expected);
    FakeScriptRunner runner;
    runner.enqueue(answer);
    SafariBridge bridge(&runner, nullptr);
    const SafariResult<SafariTabCount> count = bridge.countTabs();
    QVERIFY(count.ok());
    QCOMPARE(*count, expected);
}

void TestSafariBridge::notRunningRunsNothing()
{
    FakeScriptRunner runner;
    runner.setRunning(false);
    SafariBridge bridge(&runner, nullptr);
    QCOMPARE(bridge.snapshotWindows().error(), SafariError::notRunning());
    QCOMPARE(bridge.countTabs().error(), SafariError::notRunning());
    QCOMPARE(bridge.closeTabs({"https://a.example/"}, {}).error(), SafariError::notRunning());
    QCOMPARE(bridge.closeAllTabs({{1, {{"A", "https://a.example/", 1}}}}, true, {}).error(),
             SafariError::notRunning());
    QVERIFY(runner.scripts().isEmpty());
}

void TestSafariBridge::reopenEmptyRunsNothing()
{
    FakeScriptRunner runner;
    SafariBridge bridge(&runner, nullptr);
    QVERIFY(bridge.reopen({}, true).ok());
    QVERIFY(runner.scripts().isEmpty());
}

void TestSafariBridge::openWithWorkspace_data()
{
    QTest::addColumn<bool>("knowsSafari");
    QTest::addColumn<int>("safariRequests");
    QTest::addColumn<int>("openedOneByOne");
    QTest::newRow("Safari installed: one request") << true << 1 << 0;
    QTest::newRow("install location unknown: default handler each") << false << 0 << 2;
}

void TestSafariBridge::openWithWorkspace()
{
    QFETCH(bool, knowsSafari);
    QFETCH(int, safariRequests);
    QFETCH(int, openedOneByOne);
    FakeScriptRunner runner;
    RecordingOpener opener;
    opener.knowsSafari = knowsSafari;
    SafariBridge bridge(&runner, &opener);
    const QList<QUrl> urls{QUrl("https://a.example/"), QUrl("https://b.example/")};
    bridge.openWithWorkspace(urls);
    QCOMPARE(opener.safariRequests.size(), safariRequests);
    if (safariRequests)
        QCOMPARE(opener.safariRequests.first(), urls);
    QCOMPARE(opener.opened.size(), openedOneByOne);
    if (openedOneByOne)
        QCOMPARE(opener.opened, urls);
    QVERIFY(runner.scripts().isEmpty());
    bridge.openWithWorkspace({}); // nothing to hand over
    QCOMPARE(opener.safariRequests.size() + opener.opened.size(), safariRequests + openedOneByOne);
    SafariBridge without(&runner, nullptr);
    without.openWithWorkspace(urls); // must not crash
}

PELLMORA_TEST_GUILESS_MAIN(TestSafariBridge)
#include "TestSafariBridge.moc"
