#include <QTest>

#include "PopoverPlacement.h"
#include "TestRegistry.h"

class TestPopoverPlacement : public QObject
{
    Q_OBJECT

private slots:
    void position_data();
    void position();
};

void TestPopoverPlacement::position_data()
{
    QTest::addColumn<QRect>("tray");
    QTest::addColumn<QRect>("screen");
    QTest::addColumn<QSize>("popover");
    QTest::addColumn<QPoint>("expected");

    const QRect screen(0, 0, 1920, 1080);
    const QSize size(420, 500);
    // Top panel: below the icon, centred on it (icon centre x = 1010).
    QTest::newRow("top panel, middle") << QRect(1000, 0, 20, 28) << screen << size
                                       << QPoint(800, 28 + 6);
    // Icon near the right edge: pushed left to keep the margin.
    QTest::newRow("top panel, right edge") << QRect(1890, 0, 24, 28) << screen << size
                                           << QPoint(1920 - 8 - 420, 34);
    QTest::newRow("top panel, left edge") << QRect(4, 0, 24, 28) << screen << size
                                          << QPoint(8, 34);
    // Bottom panel: above the icon.
    QTest::newRow("bottom panel") << QRect(1800, 1050, 30, 30) << screen << size
                                  << QPoint(1920 - 8 - 420, 1050 - 6 - 500);
    // Unknown geometry: top centre.
    QTest::newRow("unknown geometry") << QRect() << screen << size << QPoint(750, 8);
    QTest::newRow("empty geometry") << QRect(0, 0, 0, 0) << screen << size << QPoint(750, 8);
    // A second screen to the right of the first.
    QTest::newRow("offset screen, unknown") << QRect() << QRect(1920, 0, 1280, 1024) << size
                                            << QPoint(1920 + 430, 8);
    QTest::newRow("offset screen, top panel") << QRect(3100, 0, 24, 24)
                                              << QRect(1920, 0, 1280, 1024) << size
                                              << QPoint(1920 + 1280 - 8 - 420, 30);
    // Too tall for the space under the icon: kept inside the screen.
    QTest::newRow("tall popover") << QRect(1000, 0, 20, 28) << QRect(0, 0, 1920, 400)
                                  << QSize(420, 500) << QPoint(800, 8);
    // A screen narrower than the popover: starts at the margin, not off-screen.
    QTest::newRow("narrow screen") << QRect(100, 0, 20, 20) << QRect(0, 0, 300, 800) << size
                                   << QPoint(8, 26);
}

void TestPopoverPlacement::position()
{
    QFETCH(QRect, tray);
    QFETCH(QRect, screen);
    QFETCH(QSize, popover);
    QFETCH(QPoint, expected);
    QCOMPARE(PopoverPlacement::position(tray, screen, popover), expected);
}

PELLMORA_TEST_GUILESS_MAIN(TestPopoverPlacement)
#include "TestPopoverPlacement.moc"
