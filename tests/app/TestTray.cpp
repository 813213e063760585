#include <QAction>
#include <QMenu>
#include <QQmlEngine>
#include <QQuickView>
#include <QSignalSpy>
#include <QTest>

#include "MoonIcon.h"
#include "QmlModule.h"
#include "TrayController.h"
#include "TestRegistry.h"

// The tray item and its moon: the menu's entries, the popover toggle and the
// drawn icon with its badge.
class TestTray : public QObject
{
    Q_OBJECT

private slots:
    void menuEntries_data();
    void menuEntries();
    void popoverToggles();
    void popoverClosesWhenItLosesFocus_data();
    void popoverClosesWhenItLosesFocus();
    void badgeAndToolTip();
    void badgeText_data();
    void badgeText();
    void moonReadsOnLightAndDark_data();
    void moonReadsOnLightAndDark();
    void badgeDrawnOnlyForACount();
};

void TestTray::menuEntries_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("signal");
    QTest::newRow("library") << 0 << QStringLiteral("Bibliothek öffnen")
                             << QByteArray(SIGNAL(openLibraryRequested()));
    QTest::newRow("chat") << 1 << QStringLiteral("Frag deine Tabs")
                          << QByteArray(SIGNAL(openChatRequested()));
    QTest::newRow("context") << 2 << QStringLiteral("Mein Kontext")
                             << QByteArray(SIGNAL(openContextRequested()));
    QTest::newRow("settings") << 3 << QStringLiteral("Einstellungen …")
                              << QByteArray(SIGNAL(openSettingsRequested()));
    QTest::newRow("quit") << 5 << QStringLiteral("Pellmora beenden")
                          << QByteArray(SIGNAL(quitRequested()));
}

void TestTray::menuEntries()
{
    QFETCH(int, index);
    QFETCH(QString, text);
    QFETCH(QByteArray, signal);
    QQmlEngine engine;
    QmlModule::prepare(engine);
    TrayController tray(&engine);
    const QList<QAction *> actions = tray.contextMenu()->actions();
    QCOMPARE(actions.size(), 6);
    QVERIFY(actions.at(4)->isSeparator());
    QCOMPARE(actions.at(index)->text(), text);

    QSignalSpy spy(&tray, signal.constData());
    const QList<QByteArray> all = {SIGNAL(openLibraryRequested()), SIGNAL(openChatRequested()),
                                   SIGNAL(openContextRequested()),
                                   SIGNAL(openSettingsRequested()), SIGNAL(quitRequested())};
    std::vector<std::unique_ptr<QSignalSpy>> others;
    for (const QByteArray &s : all) {
        if (s != signal)
            others.push_back(std::make_unique<QSignalSpy>(&tray, s.constData()));
    }
    actions.at(index)->trigger();
    QCOMPARE(spy.size(), 1);
    for (const auto &other : others)
        QCOMPARE(other->size(), 0);
}

void TestTray::popoverToggles()
{
    QQmlEngine engine;
    QmlModule::prepare(engine);
    TrayController tray(&engine);
    // The real view needs the application model; the stub has the same links.
    tray.setPopoverSource(QUrl::fromLocalFile(QFINDTESTDATA("PopoverStub.qml")));
    QSignalSpy aboutToShow(&tray, &TrayController::popoverAboutToShow);
    QVERIFY(!tray.isPopoverVisible());

    tray.togglePopover();
    QVERIFY(tray.isPopoverVisible());
    QCOMPARE(aboutToShow.size(), 1);
    QQuickView *popover = tray.popover();
    QVERIFY(popover);
    QCOMPARE(popover->width(), TrayController::kPopoverWidth);
    QVERIFY(popover->height() > 0);
    QVERIFY(popover->flags().testFlag(Qt::FramelessWindowHint));

    tray.togglePopover();
    QVERIFY(!tray.isPopoverVisible());
    QCOMPARE(aboutToShow.size(), 1);

    // The same window comes back.
    tray.togglePopover();
    QCOMPARE(tray.popover(), popover);
    QCOMPARE(aboutToShow.size(), 2);
}

void TestTray::popoverClosesWhenItLosesFocus_data()
{
    QTest::addColumn<bool>("held");
    QTest::newRow("at rest") << false;
    QTest::newRow("held open during a run") << true;
}

void TestTray::popoverClosesWhenItLosesFocus()
{
    QFETCH(bool, held);
    QQmlEngine engine;
    QmlModule::prepare(engine);
    TrayController tray(&engine);
    tray.setPopoverSource(QUrl::fromLocalFile(QFINDTESTDATA("PopoverStub.qml")));
    tray.setHeldOpen(held);
    tray.togglePopover();
    QQuickView *popover = tray.popover();
    QVERIFY(popover);
    popover->requestActivate();
    if (!QTest::qWaitForWindowActive(popover))
        QSKIP("the platform does not activate windows");
    QWindow other;
    other.resize(50, 50);
    other.show();
    other.requestActivate();
    if (!held) {
        QTRY_VERIFY(!tray.isPopoverVisible());
        return;
    }
    QTRY_VERIFY(other.isActive());
    QVERIFY(tray.isPopoverVisible());
}

void TestTray::badgeAndToolTip()
{
    QQmlEngine engine;
    TrayController tray(&engine);
    QCOMPARE(tray.toolTip(), QStringLiteral("Pellmora"));
    tray.setToolTip(QStringLiteral("Pellmora: 3 fällige Erinnerungen"));
    QCOMPARE(tray.toolTip(), QStringLiteral("Pellmora: 3 fällige Erinnerungen"));
    tray.setBadgeCount(3);
    QCOMPARE(tray.badgeCount(), 3);
    tray.setBadgeCount(-2);
    QCOMPARE(tray.badgeCount(), 0);
}

void TestTray::badgeText_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("text");
    QTest::newRow("none") << 0 << QString();
    QTest::newRow("negative") << -1 << QString();
    QTest::newRow("one") << 1 << QStringLiteral("1");
    QTest::newRow("two digits") << 99 << QStringLiteral("99");
    QTest::newRow("capped") << 100 << QStringLiteral("99+");
}

void TestTray::badgeText()
{
    QFETCH(int, count);
    QFETCH(QString, text);
    QCOMPARE(MoonIcon::badgeText(count), text);
}

void TestTray::moonReadsOnLightAndDark_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("16") << 16;
    QTest::newRow("22") << 22;
    QTest::newRow("64") << 64;
}

void TestTray::moonReadsOnLightAndDark()
{
    QFETCH(int, size);
    const QImage moon = MoonIcon::render(size);
    QCOMPARE(moon.size(), QSize(size, size));
    int light = 0;
    int dark = 0;
    int clear = 0;
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const QColor c = moon.pixelColor(x, y);
            if (c.alpha() == 0) {
                ++clear;
                continue;
            }
            if (c.alpha() < 250)
                continue;
            if (c.lightness() > 180)
                ++light;
            else if (c.lightness() < 80)
                ++dark;
        }
    }
    // A crescent: transparent bite, light body, dark rim.
    QVERIFY2(clear > size * size / 4, qPrintable(QString::number(clear)));
    QVERIFY2(light > 0, "no light body");
    QVERIFY2(dark > 0, "no dark rim");
    // The bite is at the upper right.
    QCOMPARE(moon.pixelColor(size * 3 / 4, size / 4).alpha(), 0);
    QVERIFY(moon.pixelColor(size / 4, size / 2).alpha() > 0);
}

void TestTray::badgeDrawnOnlyForACount()
{
    const int size = 32;
    QCOMPARE(MoonIcon::renderWithBadge(size, 0), MoonIcon::render(size));
    const QImage badged = MoonIcon::renderWithBadge(size, 3);
    QVERIFY(badged != MoonIcon::render(size));
    // Red disc at the lower right, moon untouched at the upper left.
    const QColor corner = badged.pixelColor(size - 3, size - size / 4);
    QVERIFY2(corner.red() > 150 && corner.green() < 90, qPrintable(corner.name()));
    QCOMPARE(badged.pixelColor(4, 4), MoonIcon::render(size).pixelColor(4, 4));
    QVERIFY(!MoonIcon::icon(3).isNull());
    QVERIFY(MoonIcon::icon().availableSizes().contains(QSize(22, 22)));
}

PELLMORA_TEST_MAIN(TestTray)
#include "TestTray.moc"
