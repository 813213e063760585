#include <QDir>
#include <QFile>
#include <QPainter>
#include <QQuickItem>
#include <QQuickView>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include "MoonIcon.h"
#include "ThemeRules.h"
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
    void readBack_data();
    void readBack();
    void checkRowTogglesItsValue();
    void petrolButtonClicks();
    void glyphsRender_data();
    void glyphsRender();
    void renderGallery();

private:
    // Loads a page and returns its window, or null.
    QQuickView *load(const QByteArray &qml);
    QImage grab() { return m_h->render().convertToFormat(QImage::Format_ARGB32); }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<ViewHarness> m_h;
};

void TestControls::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_h = std::make_unique<ViewHarness>();
}

void TestControls::cleanup()
{
    m_h.reset();
    m_dir.reset();
}

QQuickView *TestControls::load(const QByteArray &qml)
{
    return m_h->loadQml(qml) ? m_h->view() : nullptr;
}

namespace {

// Follows a dotted property path ("background.color") from an
// object, through objects and value types.
QVariant readPath(QObject *object, const QString &path)
{
    QVariant value = QVariant::fromValue(object);
    for (const QString &part : path.split(u'.')) {
        const QByteArray name = part.toUtf8();
        if (auto *o = value.value<QObject *>()) {
            value = o->property(name);
            continue;
        }
        const QMetaObject *meta = value.metaType().metaObject();
        const int index = meta ? meta->indexOfProperty(name) : -1;
        if (index < 0)
            return {};
        value = meta->property(index).readOnGadget(value.constData());
    }
    return value;
}

} // namespace

void TestControls::readBack_data()
{
    QTest::addColumn<QByteArray>("qml");
    QTest::addColumn<QString>("object");
    QTest::addColumn<QString>("property");
    QTest::addColumn<QVariant>("expected");

    const QByteArray petrolButton =
        "PetrolButtonStyle { objectName: 'c'; text: 'Alle Tabs schlafen legen'; "
        "minimumHeight: 44 }";
    QTest::newRow("petrol label") << petrolButton << "label" << "text"
                                  << QVariant(QStringLiteral("Alle Tabs schlafen legen"));
    QTest::newRow("petrol minimum height") << petrolButton << "c" << "height" << QVariant(44.0);

    const QByteArray link = "LinkButtonStyle { objectName: 'c'; text: 'Abbrechen' }";
    QTest::newRow("link text") << link << "label" << "text"
                               << QVariant(QStringLiteral("Abbrechen"));

    QTest::newRow("chip letter") << QByteArray("LetterChip { domain: 'docs.python.org' }")
                                 << "letter" << "text" << QVariant(QStringLiteral("P"));
    QTest::newRow("chip colour") << QByteArray("LetterChip { objectName: 'c'; "
                                               "domain: 'docs.python.org' }")
                                 << "c" << "color"
                                 << QVariant(ThemeRules::chipColor(QStringLiteral("python")));
    QTest::newRow("chip from tab title")
        << QByteArray("LetterChip { tab: ({ domain: '', title: 'über uns' }) }") << "letter"
        << "text" << QVariant(QStringLiteral("Ü"));
    QTest::newRow("chip size") << QByteArray("LetterChip { objectName: 'c'; size: 40 }")
                               << "c" << "width" << QVariant(40.0);

    QTest::newRow("tag text") << QByteArray("TagChip { text: 'rust' }") << "label" << "text"
                              << QVariant(QStringLiteral("rust"));

    const QByteArray check = "CheckRow { objectName: 'c'; title: 'Inhalte speichern'; "
                             "isOn: true }";
    QTest::newRow("check title") << check << "label" << "text"
                                 << QVariant(QStringLiteral("Inhalte speichern"));
    QTest::newRow("check on") << check << "c" << "checked" << QVariant(true);
    QTest::newRow("check off") << QByteArray("CheckRow { objectName: 'c'; title: 'x' }") << "c"
                               << "checked" << QVariant(false);

    const QByteArray field = "FieldLabel { objectName: 'c'; text: 'Projektordner' }";
    QTest::newRow("field text") << field << "c" << "text"
                                << QVariant(QStringLiteral("Projektordner"));

    QTest::newRow("theme topic colour")
        << QByteArray("Rectangle { objectName: 'c'; width: 8; height: 8; color: Theme.topicColor('blau') }") << "c"
        << "color" << QVariant(QColor(91, 141, 239));
    QTest::newRow("theme chip key of a tab")
        << QByteArray("Text { objectName: 'c'; text: Theme.chipKey({ domain: 'docs.qt.io', title: 'Qt' }) }")
        << "c" << "text" << QVariant(QStringLiteral("qt"));
}

void TestControls::readBack()
{
    QFETCH(QByteArray, qml);
    QFETCH(QString, object);
    QFETCH(QString, property);
    QFETCH(QVariant, expected);

    QQuickView *view = load(qml);
    QVERIFY(view);
    QObject *target = m_h->find(object);
    QVERIFY2(target, qPrintable(object));
    if (auto *item = qobject_cast<QQuickItem *>(target))
        QVERIFY(item->isVisible());
    const QVariant actual = readPath(target, property);
    QVERIFY2(actual.isValid(), qPrintable(property));
    if (expected.metaType() == QMetaType::fromType<QColor>())
        QCOMPARE(actual.value<QColor>(), expected.value<QColor>());
    else if (expected.metaType() == QMetaType::fromType<double>())
        QCOMPARE(actual.toDouble(), expected.toDouble());
    else
        QCOMPARE(actual, expected);
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

void TestControls::renderGallery()
{
    QFile gallery(QFINDTESTDATA("ControlsGallery.qml"));
    QVERIFY(gallery.open(QIODevice::ReadOnly));
    QByteArray qml = gallery.readAll();
    qml.replace("import QtQuick\nimport Pellmora\n", "");
    QQuickView *view = load(qml);
    QVERIFY(view);
    QImage page = grab();
    QVERIFY(!page.isNull());

    // The moon at tray sizes, plain and with badges, under the page on a
    // light and a dark strip.
    QImage sheet(page.width(), page.height() + 80, QImage::Format_ARGB32);
    sheet.fill(Qt::white);
    QPainter p(&sheet);
    p.drawImage(0, 0, page);
    p.fillRect(QRect(0, page.height(), sheet.width() / 2, 80), QColor(238, 238, 241));
    p.fillRect(QRect(sheet.width() / 2, page.height(), sheet.width() / 2, 80), QColor(40, 40, 44));
    for (int half = 0; half < 2; ++half) {
        int x = half * sheet.width() / 2 + 12;
        for (const int size : {16, 22, 32, 48}) {
            p.drawImage(x, page.height() + 16, MoonIcon::render(size));
            x += size + 10;
        }
        for (const int count : {3, 27, 120}) {
            p.drawImage(x, page.height() + 16, MoonIcon::renderWithBadge(32, count));
            x += 42;
        }
    }
    p.end();

    const QString dir = qEnvironmentVariable("PELLMORA_GRAB_DIR", m_dir->path());
    QVERIFY(sheet.save(QDir(dir).filePath(QStringLiteral("controls.png"))));

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
