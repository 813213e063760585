#include <QTest>

#include "FakeBrowserBridge.h"
#include "SafariError.h"
#include "TestRegistry.h"

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
    QTest::addColumn<SafariError>("error");
    QTest::addColumn<QString>("expected");
    QTest::newRow("script") << SafariError::scriptFailed(-1728, QStringLiteral("Kein Fenster"))
                            << QStringLiteral("Safari hat nicht geantwortet (Fehler -1728): Kein Fenster");
    QTest::newRow("script zero") << SafariError::scriptFailed(0, QStringLiteral("Skript ungültig"))
                                 << QStringLiteral("Safari hat nicht geantwortet (Fehler 0): Skript ungültig");
    QTest::newRow("not running") << SafariError::notRunning()
                                 << QStringLiteral("Safari ist nicht geöffnet. Öffne Safari und versuche es nochmals.");
    QTest::newRow("permission")
        << SafariError::permissionDenied()
        << QStringLiteral("Pellmora darf Safari noch nicht steuern. Erlauben: Systemeinstellungen \u2192 Datenschutz "
                          "& Sicherheit \u2192 Automation \u2192 Pellmora \u2192 Safari einschalten.");
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

PELLMORA_TEST_GUILESS_MAIN(TestBrowserBridge)
#include "TestBrowserBridge.moc"
