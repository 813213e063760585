#include <QTest>

#include "FakeBrowserBridge.h"
#include "PlatformWords.h"
#include "SafariError.h"

class TestBrowserBridge : public QObject
{
    Q_OBJECT

private slots:
    void errorDescription_data();
    void errorDescription();
    void closeAllTabs_data();
    void closeAllTabs();
    void refusesWhenNotRunning();
};

void TestBrowserBridge::errorDescription_data()
{
    // Each kind of failure takes its own words from the word table.
    QTest::addColumn<SafariError>("error");
    QTest::addColumn<QString>("expected");
    QTest::newRow("script") << SafariError::scriptFailed(-1728, QStringLiteral("Kein Fenster"))
                            << PlatformWords::noAnswerError(-1728, QStringLiteral("Kein Fenster"));
    QTest::newRow("not running") << SafariError::notRunning() << PlatformWords::notRunningError();
    QTest::newRow("permission") << SafariError::permissionDenied() << PlatformWords::permissionError();
}

void TestBrowserBridge::errorDescription()
{
    QFETCH(SafariError, error);
    QFETCH(QString, expected);
    QCOMPARE(error.errorDescription(), expected);
    const SafariResult<int> failed(error);
    QVERIFY(!failed.ok());
    QCOMPARE(failed.toResult().error(), expected);
}

void TestBrowserBridge::closeAllTabs_data()
{
    QTest::addColumn<bool>("keepPinned");
    QTest::addColumn<QStringList>("expectedKeep");
    QTest::addColumn<int>("closed");
    QTest::newRow("keep pinned") << true << QStringList{QStringLiteral("Mail.Example")} << 3;
    QTest::newRow("close all") << false << QStringList{} << 4;
}

void TestBrowserBridge::closeAllTabs()
{
    QFETCH(bool, keepPinned);
    QFETCH(QStringList, expectedKeep);
    QFETCH(int, closed);

    FakeBrowserBridge bridge;
    const QList<SafariWindow> windows{
        {1, {{QStringLiteral("A"), QStringLiteral("https://a.example/"), 1},
             {QStringLiteral("M"), QStringLiteral("https://mail.example/inbox"), 3}}},
        {4, {{QStringLiteral("B"), QStringLiteral("https://b.example/"), 1},
             {QStringLiteral("A again"), QStringLiteral("https://a.example/"), 2}}},
    };
    bridge.setWindows(windows);
    const SafariResult<int> result = bridge.closeAllTabs(windows, keepPinned, {QStringLiteral("Mail.Example")});
    QVERIFY(result.ok());
    QCOMPARE(*result, closed);
    QCOMPARE(bridge.closeRequests().size(), 1);
    QCOMPARE(bridge.closeRequests().first(),
             (QSet<QString>{QStringLiteral("https://a.example/"), QStringLiteral("https://mail.example/inbox"),
                            QStringLiteral("https://b.example/")}));
    QCOMPARE(bridge.keepRequests().first(), expectedKeep);
}

void TestBrowserBridge::refusesWhenNotRunning()
{
    FakeBrowserBridge bridge;
    bridge.setRunning(false);
    QCOMPARE(bridge.snapshotWindows().error(), SafariError::notRunning());
    QCOMPARE(bridge.countTabs().error(), SafariError::notRunning());
    QVERIFY(bridge.reopen({QUrl(QStringLiteral("https://a.example/"))}, true).ok());
    QVERIFY(bridge.isSafariRunning());
    bridge.failWith(SafariError::permissionDenied());
    QCOMPARE(bridge.countTabs().error(), SafariError::permissionDenied());
}

QTEST_GUILESS_MAIN(TestBrowserBridge)
#include "TestBrowserBridge.moc"
