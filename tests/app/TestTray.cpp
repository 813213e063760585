// The tray item: the due count it shows and draws on the moon, the popover
// closing by its links or losing the focus, and where it opens.
#include "MoonIcon.h"
#include "PopoverPlacement.h"
#include "QmlModule.h"
#include "TrayController.h"
#include "ViewHarness.h"

#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QSignalSpy>
#include <QTest>

#include <memory>
#include "TestRegistry.h"

class TestTray : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void dueCountAndSaveFailure_data();
    void dueCountAndSaveFailure();
    void popoverCloses_data();
    void popoverCloses();
    void popoverPlacement_data();
    void popoverPlacement();

private:
    std::unique_ptr<QQmlEngine> m_engine;
    std::unique_ptr<TrayController> m_tray;
};

void TestTray::init()
{
    ViewHarness::failOnQmlWarnings();
    m_engine = std::make_unique<QQmlEngine>();
    QmlModule::prepare(*m_engine);
    m_tray = std::make_unique<TrayController>(m_engine.get());
    // The real view needs the application model; the stub has the same links.
    m_tray->setPopoverSource(QUrl::fromLocalFile(QFINDTESTDATA("PopoverStub.qml")));
}

void TestTray::cleanup()
{
    m_tray.reset();
    m_engine.reset();
}

void TestTray::dueCountAndSaveFailure_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("shown"); // in the title and the tooltip
    QTest::addColumn<QString>("badge"); // on the moon
    QTest::newRow("none") << 0 << QString() << QString();
    QTest::newRow("negative") << -1 << QString() << QString();
    QTest::newRow("one") << 1 << "1" << "1";
    QTest::newRow("two digits") << 99 << "99" << "99";
    QTest::newRow("capped on the moon only") << 100 << "100" << "99+";
}

void TestTray::dueCountAndSaveFailure()
{
    QFETCH(int, count);
    QFETCH(QString, shown);
    QFETCH(QString, badge);
    m_tray->setDueCount(count);
    QCOMPARE(m_tray->title().isEmpty(), shown.isEmpty());
    QVERIFY(m_tray->title().contains(shown) && m_tray->toolTip().contains(shown));
    QCOMPARE(MoonIcon::badgeText(m_tray->badgeCount()), badge);
    QCOMPARE(MoonIcon::renderWithBadge(32, count) == MoonIcon::render(32), badge.isEmpty());
    // A failed save is told whatever the count, until a write succeeds.
    const QString calm = m_tray->toolTip();
    m_tray->setSaveFailed(true);
    QVERIFY(m_tray->toolTip() != calm && m_tray->toolTip().contains(shown));
    m_tray->setSaveFailed(false);
    QCOMPARE(m_tray->toolTip(), calm);
}

void TestTray::popoverCloses_data()
{
    QTest::addColumn<QByteArray>("how");
    QTest::addColumn<QByteArray>("signal"); // what the owner is asked for, if anything
    QTest::addColumn<bool>("closes");
    QTest::newRow("toggled") << QByteArray("toggle") << QByteArray() << true;
    QTest::newRow("library link") << QByteArray("openLibrary") << QByteArray(SIGNAL(openLibraryRequested())) << true;
    QTest::newRow("chat link") << QByteArray("openChat") << QByteArray(SIGNAL(openChatRequested())) << true;
    QTest::newRow("focus lost") << QByteArray("focus") << QByteArray() << true;
    // During a run the browser takes the focus as its tabs close.
    QTest::newRow("focus lost while held open") << QByteArray("held") << QByteArray() << false;
}

void TestTray::popoverCloses()
{
    QFETCH(QByteArray, how);
    QFETCH(QByteArray, signal);
    QFETCH(bool, closes);
    m_tray->setHeldOpen(how == "held");
    QSignalSpy aboutToShow(m_tray.get(), &TrayController::popoverAboutToShow);
    m_tray->togglePopover();
    QQuickView *popover = m_tray->popover();
    QVERIFY(QTest::qWaitForWindowActive(popover));
    QSignalSpy asked(m_tray.get(), signal.isEmpty() ? SIGNAL(quitRequested()) : signal.constData());
    QWindow other;
    if (how == "toggle") {
        m_tray->togglePopover();
    } else if (how.startsWith("open")) {
        QVERIFY(QMetaObject::invokeMethod(popover->rootObject(), how.constData()));
    } else {
        other.show();
        other.requestActivate();
        QVERIFY(QTest::qWaitForWindowActive(&other));
    }
    QTRY_COMPARE(m_tray->isPopoverVisible(), !closes);
    QCOMPARE(asked.size(), signal.isEmpty() ? 0 : 1);
    // The same window comes back, and the owner hears of it each time.
    m_tray->hidePopover();
    m_tray->togglePopover();
    QCOMPARE(m_tray->popover(), popover);
    QCOMPARE(aboutToShow.size(), 2);
}

void TestTray::popoverPlacement_data()
{
    QTest::addColumn<QRect>("tray");
    QTest::addColumn<QRect>("screen");
    QTest::addColumn<QPoint>("expected");
    // A 420×500 popover, 8 points from the screen's edges, 6 from the icon.
    const QRect screen(0, 0, 1920, 1080);
    QTest::newRow("top panel, centred under the icon") << QRect(1000, 0, 20, 28) << screen << QPoint(800, 34);
    QTest::newRow("top panel, right edge") << QRect(1890, 0, 24, 28) << screen << QPoint(1492, 34);
    QTest::newRow("top panel, left edge") << QRect(4, 0, 24, 28) << screen << QPoint(8, 34);
    QTest::newRow("bottom panel, above") << QRect(1800, 1050, 30, 30) << screen << QPoint(1492, 544);
    QTest::newRow("unknown icon: top centre") << QRect() << screen << QPoint(750, 8);
    QTest::newRow("empty icon") << QRect(0, 0, 0, 0) << screen << QPoint(750, 8);
    const QRect second(1920, 0, 1280, 1024);
    QTest::newRow("second screen, unknown icon") << QRect() << second << QPoint(2350, 8);
    QTest::newRow("second screen, top panel") << QRect(3100, 0, 24, 24) << second << QPoint(2772, 30);
    QTest::newRow("too tall for the space below") << QRect(1000, 0, 20, 28) << QRect(0, 0, 1920, 400) << QPoint(800, 8);
    QTest::newRow("screen narrower than it") << QRect(100, 0, 20, 20) << QRect(0, 0, 300, 800) << QPoint(8, 26);
}

void TestTray::popoverPlacement()
{
    QFETCH(QRect, tray);
    QFETCH(QRect, screen);
    QFETCH(QPoint, expected);
    QCOMPARE(PopoverPlacement::position(tray, screen, QSize(420, 500)), expected);
}

PELLMORA_TEST_MAIN(TestTray)
#include "TestTray.moc"
