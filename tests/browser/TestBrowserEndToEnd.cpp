#include <QTest>

#include <chrono>

#include "BrowserHub.h"
#include "ExtensionBridge.h"
#include "LocalHttpServer.h"
#include "RemoteBrowser.h"

using namespace std::chrono_literals;

// The whole way from Pellmora through the host and the extension into a real
// headless browser and back.
class TestBrowserEndToEnd : public QObject
{
    Q_OBJECT

private slots:
    void sleepAndReopen_data();
    void sleepAndReopen();
};

void TestBrowserEndToEnd::sleepAndReopen_data()
{
    QTest::addColumn<int>("kind");
    QTest::newRow("chromium") << int(RemoteBrowser::Kind::chromium);
    QTest::newRow("firefox") << int(RemoteBrowser::Kind::firefox);
}

void TestBrowserEndToEnd::sleepAndReopen()
{
    QFETCH(int, kind);
    const auto browserKind = RemoteBrowser::Kind(kind);
    if (RemoteBrowser::executable(browserKind).isEmpty())
        QSKIP("browser not installed");

    LocalHttpServer server;
    QVERIFY(server.isListening());
    server.setHandler([](const LocalHttpServer::Request &request) {
        const QByteArray name = request.path.mid(request.path.lastIndexOf('/') + 1);
        return LocalHttpServer::page("<!doctype html><title>Seite " + name + "</title><p>" + name + "</p>");
    });
    // "localhost" is the pinned domain; the other pages are on 127.0.0.1.
    const QString pinned = QStringLiteral("http://localhost:%1/pinned").arg(server.port());
    const QStringList first{server.address("/a"), pinned};
    const QStringList second{server.address("/b"), server.address("/c"), server.address("/d")};
    const QStringList all = first + second;

    RemoteBrowser browser(browserKind, QStringLiteral(PELLMORA_INSTALL_SCRIPT), QStringLiteral(PELLMORA_BROWSER_HOST));
    const QString failed = browser.start();
    QVERIFY2(failed.isEmpty(), qPrintable(failed));

    BrowserHub hub(browser.socketPath());
    QVERIFY(hub.start());
    QVERIFY2(hub.waitForBrowsers(1, 40s), qPrintable(browser.log()));
    ExtensionBridge bridge(&hub);
    const auto urls = [](const QStringList &list) {
        QList<QUrl> out;
        for (const QString &u : list)
            out.append(QUrl(u));
        return out;
    };

    // Two windows of pages, opened through the extension itself.
    QVERIFY(bridge.reopen(urls(first), true));
    QVERIFY(bridge.reopen(urls(second), true));
    QVERIFY2(browser.waitForPages(all), qPrintable(browser.openPages().join(' ')));

    const SafariResult<QList<SafariWindow>> snapshot = bridge.snapshotWindows();
    QVERIFY(snapshot);
    QCOMPARE(snapshot->size(), 2); // the blank start window is left out
    QCOMPARE_NE(snapshot->at(0).index, snapshot->at(1).index);
    for (const auto &[window, expected] : {std::pair{0, first}, std::pair{1, second}}) {
        const SafariWindow &got = snapshot->at(window);
        QCOMPARE(got.tabs.size(), expected.size());
        for (qsizetype i = 0; i < expected.size(); ++i) {
            QCOMPARE(got.tabs.at(i).url, expected.at(i));
            QCOMPARE(got.tabs.at(i).index, int(i) + 1);
        }
    }
    const SafariResult<SafariTabCount> count = bridge.countTabs();
    QVERIFY(count);
    QCOMPARE(count->tabs, 6);
    QCOMPARE(count->windows, 3);

    // Sleep: every saved page closes except the pinned domain.
    const QSet<QString> saved(all.cbegin(), all.cend());
    const SafariResult<int> closed = bridge.closeTabs(saved, {QStringLiteral("LOCALHOST")});
    QVERIFY(closed);
    QCOMPARE(*closed, 4);
    QVERIFY2(browser.waitForPages({pinned}), qPrintable(browser.openPages().join(' ')));

    // Reopening brings them back.
    QStringList asleep = all;
    asleep.removeOne(pinned);
    QVERIFY(bridge.reopen(urls(asleep), true));
    QVERIFY2(browser.waitForPages(all), qPrintable(browser.openPages().join(' ')));
}

QTEST_GUILESS_MAIN(TestBrowserEndToEnd)
#include "TestBrowserEndToEnd.moc"
