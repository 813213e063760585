#include <QTest>

#include <algorithm>
#include <chrono>
#include <memory>

#include "BrowserHub.h"
#include "ExtensionBridge.h"
#include "LibraryStore.h"
#include "LocalHttpServer.h"
#include "RemoteBrowser.h"
#include "TestSupport.h"
#include "TestRegistry.h"

using namespace std::chrono_literals;

// The whole way from Pellmora through the host and the extension into a real
// headless browser and back: set up through the bridge, put to sleep with
// pellmora-cli sleep, brought back through the bridge.
class TestBrowserEndToEnd : public QObject
{
    Q_OBJECT

private slots:
    void sleepAndReopen_data();
    void sleepAndReopen();

private:
    static TestSupport::ProcessResult sleepFromCli(const RemoteBrowser &browser, const QStringList &flags);
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
    // Only a missing browser skips; one that is there but fails to start fails.
    const QString program = RemoteBrowser::program(browserKind);
    if (RemoteBrowser::executable(browserKind).isEmpty())
        QSKIP(qPrintable(program + QStringLiteral(" is not on PATH (") + qEnvironmentVariable("PATH")
                         + QStringLiteral("); scripts/install-deps installs it")));
    qInfo().noquote() << "running" << RemoteBrowser::version(browserKind);

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

    auto hub = std::make_unique<BrowserHub>(browser.socketPath());
    QVERIFY(hub->start());
    QVERIFY2(hub->waitForBrowsers(1, 40s), qPrintable(browser.log()));
    ExtensionBridge bridge(hub.get());
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

    // Sleep from the command line: its own hub, so ours steps aside; the
    // hosts find the new one by themselves.
    hub.reset();
    const TestSupport::ProcessResult slept = sleepFromCli(browser, {"--keep-pinned", "LOCALHOST"});
    QVERIFY2(slept.exitCode == 0, qPrintable(slept.err + browser.log()));
    QVERIFY2(browser.waitForPages({pinned}), qPrintable(browser.openPages().join(' ')));

    // Every page once, with the window and position it had.
    LibraryData library = LibraryStore(browser.libraryPath()).load();
    QCOMPARE(library.tabs.size(), all.size());
    QHash<QString, SavedTab> byUrl;
    for (const SavedTab &tab : std::as_const(library.tabs))
        byUrl.insert(tab.url, tab);
    QCOMPARE(byUrl.size(), all.size());
    for (const auto &[window, pages] : {std::pair{0, first}, std::pair{1, second}}) {
        const SavedTab &lead = byUrl.value(pages.first());
        QCOMPARE(lead.windowIndex, snapshot->at(window).index);
        QList<QUuid> ids;
        for (qsizetype i = 0; i < pages.size(); ++i) {
            const SavedTab &tab = byUrl.value(pages.at(i));
            QCOMPARE(tab.windowIndex, lead.windowIndex);
            QCOMPARE(tab.windowId, lead.windowId);
            QCOMPARE(tab.tabIndex, i + 1);
            QCOMPARE(tab.title, QStringLiteral("Seite ") + QUrl(pages.at(i)).path().mid(1));
            ids.append(tab.id);
        }
        const auto saved = std::find_if(library.windows.cbegin(), library.windows.cend(),
                                        [&](const SavedWindow &w) { return w.id == lead.windowId; });
        QVERIFY(saved != library.windows.cend());
        QCOMPARE(saved->tabIds, ids);
    }

    // Reopening brings them back.
    hub = std::make_unique<BrowserHub>(browser.socketPath());
    QVERIFY(hub->start());
    QVERIFY2(hub->waitForBrowsers(1, 20s), qPrintable(browser.log()));
    ExtensionBridge again(hub.get());
    QStringList asleep = all;
    asleep.removeOne(pinned);
    QVERIFY(again.reopen(urls(asleep), true));
    QVERIFY2(browser.waitForPages(all), qPrintable(browser.openPages().join(' ')));

    // Without the pinned domain everything closes, the browser stays open
    // for the next time, and nothing is saved twice.
    hub.reset();
    const TestSupport::ProcessResult sleptAgain = sleepFromCli(browser, {"--no-topics"});
    QVERIFY2(sleptAgain.exitCode == 0, qPrintable(sleptAgain.err));
    QVERIFY2(browser.waitForPages({}), qPrintable(browser.openPages().join(' ')));
    library = LibraryStore(browser.libraryPath()).load();
    QCOMPARE(library.tabs.size(), all.size());
    hub = std::make_unique<BrowserHub>(browser.socketPath());
    QVERIFY(hub->start());
    QVERIFY2(hub->waitForBrowsers(1, 20s), qPrintable(browser.log()));
}

TestSupport::ProcessResult TestBrowserEndToEnd::sleepFromCli(const RemoteBrowser &browser, const QStringList &flags)
{
    QHash<QString, QString> env = browser.environment();
    env.insert("PELLMORA_NO_AI", "1");
    env.insert("PELLMORA_NO_SEMANTIC", "1");
    env.insert("PELLMORA_NO_NOTIFICATIONS", "1");
    return TestSupport::run(QStringLiteral(PELLMORA_CLI), QStringList{"sleep"} + flags, env);
}

PELLMORA_TEST_GUILESS_MAIN(TestBrowserEndToEnd)
#include "TestBrowserEndToEnd.moc"
