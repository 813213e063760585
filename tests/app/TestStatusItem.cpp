#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QSignalSpy>
#include <QTest>

#include "MoonIcon.h"
#include "QmlModule.h"
#include "TrayController.h"
#include "TestRegistry.h"

// What the tray item says about due reminders, and the popover's links.
class TestStatusItem : public QObject
{
    Q_OBJECT

private slots:
    void titleAndToolTip_data();
    void titleAndToolTip();
    void dueCountReachesTheItem_data();
    void dueCountReachesTheItem();
    void popoverLinks_data();
    void popoverLinks();
};

void TestStatusItem::titleAndToolTip_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("toolTip");
    QTest::newRow("none") << 0 << QString() << QStringLiteral("Pellmora");
    // The plural for every count, 1 included.
    QTest::newRow("one") << 1 << QStringLiteral(" ⏰ 1")
                         << QStringLiteral("Pellmora: 1 fällige Erinnerungen");
    QTest::newRow("three") << 3 << QStringLiteral(" ⏰ 3")
                           << QStringLiteral("Pellmora: 3 fällige Erinnerungen");
    QTest::newRow("many") << 1234 << QStringLiteral(" ⏰ 1234")
                          << QStringLiteral("Pellmora: 1234 fällige Erinnerungen");
}

void TestStatusItem::titleAndToolTip()
{
    QFETCH(int, count);
    QFETCH(QString, title);
    QFETCH(QString, toolTip);
    QCOMPARE(TrayController::titleText(count), title);
    QCOMPARE(TrayController::toolTipText(count), toolTip);
    // A failed save is told whatever the count.
    QVERIFY(TrayController::toolTipText(count, true) != toolTip);
    // Space, alarm clock, space, then the number.
    if (count > 0)
        QVERIFY(title.startsWith(QString::fromUtf8("\x20\xe2\x8f\xb0\x20")));
}

void TestStatusItem::dueCountReachesTheItem_data()
{
    QTest::addColumn<QList<int>>("counts");
    QTest::newRow("stays at none") << QList<int>{0};
    QTest::newRow("due, then done") << QList<int>{2, 0};
    QTest::newRow("grows") << QList<int>{1, 5};
}

void TestStatusItem::dueCountReachesTheItem()
{
    QFETCH(QList<int>, counts);
    QQmlEngine engine;
    TrayController tray(&engine);
    for (const int count : counts) {
        tray.setDueCount(count);
        QCOMPARE(tray.title(), TrayController::titleText(count));
        QCOMPARE(tray.toolTip(), TrayController::toolTipText(count));
        // The count on the moon, as far as the tray shows images.
        QCOMPARE(tray.badgeCount(), count);
    }
}

void TestStatusItem::popoverLinks_data()
{
    QTest::addColumn<QByteArray>("link");
    QTest::addColumn<bool>("library");
    QTest::newRow("library") << QByteArray("openLibrary") << true;
    QTest::newRow("chat") << QByteArray("openChat") << false;
}

void TestStatusItem::popoverLinks()
{
    QFETCH(QByteArray, link);
    QFETCH(bool, library);
    QQmlEngine engine;
    QmlModule::prepare(engine);
    TrayController tray(&engine);
    tray.setPopoverSource(QUrl::fromLocalFile(QFINDTESTDATA("PopoverStub.qml")));
    QSignalSpy libraryAsked(&tray, &TrayController::openLibraryRequested);
    QSignalSpy chatAsked(&tray, &TrayController::openChatRequested);
    tray.togglePopover();
    QVERIFY(tray.isPopoverVisible());
    QQuickView *popover = tray.popover();
    QVERIFY(popover && popover->rootObject());
    QCOMPARE(popover->width(), TrayController::kPopoverWidth);

    QVERIFY(QMetaObject::invokeMethod(popover->rootObject(), link.constData()));
    // The popover closes first, then the window is asked for.
    QVERIFY(!tray.isPopoverVisible());
    QCOMPARE(libraryAsked.size(), library ? 1 : 0);
    QCOMPARE(chatAsked.size(), library ? 0 : 1);
}

PELLMORA_TEST_MAIN(TestStatusItem)
#include "TestStatusItem.moc"
