#include <QFile>
#include <QQuickItem>
#include <QQuickView>
#include <QSignalSpy>
#include <QTest>

#include <memory>

#include "ViewHarness.h"
#include "TestRegistry.h"

// Loads each shared control offscreen and reads back what it shows; renders
// a page of all of them (and the moon) for a look by eye.
class TestControls : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void checkRowTogglesItsValue();
    void petrolButtonClicks();
    void glyphsRender_data();
    void glyphsRender();
    void galleryFitsItsPage();

private:
    // Loads a page and returns its window, or null.
    QQuickView *load(const QByteArray &qml);
    QImage grab() { return m_h->render().convertToFormat(QImage::Format_ARGB32); }

    std::unique_ptr<ViewHarness> m_h;
};

void TestControls::init()
{
    m_h = std::make_unique<ViewHarness>();
}

void TestControls::cleanup()
{
    m_h.reset();
}

QQuickView *TestControls::load(const QByteArray &qml)
{
    return m_h->loadQml(qml) ? m_h->view() : nullptr;
}

void TestControls::checkRowTogglesItsValue()
{
    QQuickView *view = load("Item { width: 300; height: 40; property bool bound: false\n"
                            "  CheckRow { objectName: 'c'; title: 'Themen bilden';"
                            "  isOn: parent.bound; onToggled: parent.bound = isOn } }");
    QVERIFY(view);
    QObject *root = view->rootObject();
    auto *row = qobject_cast<QQuickItem *>(m_h->find(QStringLiteral("c")));
    QVERIFY(row);
    const QPoint box = row->mapToScene(QPointF(10, row->height() / 2)).toPoint();
    QTest::mouseClick(view, Qt::LeftButton, {}, box);
    QCOMPARE(row->property("isOn").toBool(), true);
    QCOMPARE(root->property("bound").toBool(), true);
    QTest::mouseClick(view, Qt::LeftButton, {}, box);
    QCOMPARE(root->property("bound").toBool(), false);
    // The bound value drives the box, too.
    root->setProperty("bound", true);
    QCOMPARE(row->property("checked").toBool(), true);
}

void TestControls::petrolButtonClicks()
{
    QQuickView *view = load("PetrolButtonStyle { text: 'Speichern' }");
    QVERIFY(view);
    QSignalSpy clicked(view->rootObject(), SIGNAL(clicked()));
    QTest::mouseClick(view, Qt::LeftButton, {}, QPoint(view->width() / 2, view->height() / 2));
    QCOMPARE(clicked.size(), 1);
}

namespace {

struct Ink
{
    int dark = 0;
    int coloured = 0;
};

Ink inkOf(const QImage &image)
{
    Ink ink;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor c = image.pixelColor(x, y);
            if (c.hsvSaturation() > 90 && c.value() > 90)
                ++ink.coloured;
            else if (c.lightness() < 160)
                ++ink.dark;
        }
    }
    return ink;
}

} // namespace

void TestControls::glyphsRender_data()
{
    QTest::addColumn<QString>("glyph");
    QTest::addColumn<bool>("colour");
    QTest::newRow("moon") << QStringLiteral("🌙") << true;
    QTest::newRow("alarm clock") << QStringLiteral("⏰") << true;
    QTest::newRow("memo") << QStringLiteral("📝") << true;
    QTest::newRow("bulb") << QStringLiteral("💡") << true;
    QTest::newRow("check mark") << QStringLiteral("✓") << false;
    QTest::newRow("arrow") << QStringLiteral("→") << false;
    QTest::newRow("ellipsis") << QStringLiteral("…") << false;
    QTest::newRow("umlauts") << QStringLiteral("äöüÄÖÜ") << false;
    QTest::newRow("middle dot") << QStringLiteral("·") << false;
    QTest::newRow("guillemets") << QStringLiteral("«»") << false;
}

void TestControls::glyphsRender()
{
    QFETCH(QString, glyph);
    QFETCH(bool, colour);
    // A private-use character has no glyph anywhere: it draws as the missing
    // glyph box (or nothing), which a real glyph must not look like.
    const QByteArray missingText =
        QByteArray("\\ue000").repeated(glyph.toUcs4().size());
    const QByteArray page =
        "Row { spacing: 0\n"
        "  Rectangle { width: 160; height: 60; color: 'white'\n"
        "    Text { anchors.centerIn: parent; font.pointSize: 24; color: 'black'; text: '"
        + glyph.toUtf8() + "' } }\n"
        "  Rectangle { width: 160; height: 60; color: 'white'\n"
        "    Text { anchors.centerIn: parent; font.pointSize: 24; color: 'black'; text: '"
        + missingText + "' } } }";
    QQuickView *view = load(page);
    QVERIFY(view);
    const QImage image = grab();
    QVERIFY(!image.isNull());
    const QImage real = image.copy(0, 0, 160, 60);
    const QImage missing = image.copy(160, 0, 160, 60);
    const Ink ink = inkOf(real);
    QVERIFY2(ink.dark + ink.coloured > 10, "nothing drawn");
    QVERIFY2(real != missing, "drawn as the missing-glyph box");
    if (colour)
        QVERIFY2(ink.coloured > 40, qPrintable(QString::number(ink.coloured)));
}

void TestControls::galleryFitsItsPage()
{
    QFile gallery(QFINDTESTDATA("ControlsGallery.qml"));
    QVERIFY(gallery.open(QIODevice::ReadOnly));
    QByteArray qml = gallery.readAll();
    qml.replace("import QtQuick\nimport Pellmora\n", "");
    QQuickView *view = load(qml);
    QVERIFY(view);
    // Every control sits inside the page, none is clipped at its edge.
    QQuickItem *root = view->rootObject();
    const QList<QQuickItem *> items = root->findChildren<QQuickItem *>();
    int named = 0;
    for (const QQuickItem *item : items) {
        if (item->objectName().isEmpty() || !item->isVisible())
            continue;
        ++named;
        const QRectF r = item->mapRectToScene(QRectF(0, 0, item->width(), item->height()));
        QVERIFY2(QRectF(0, 0, view->width(), view->height()).contains(r),
                 qPrintable(item->objectName()));
    }
    QVERIFY(named >= 6);
}

PELLMORA_TEST_MAIN(TestControls)
#include "TestControls.moc"
