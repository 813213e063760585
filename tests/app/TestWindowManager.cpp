#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QScreen>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include "AppModelFixture.h"
#include "AppModelForeign.h"
#include "QmlModule.h"
#include "ViewHarness.h"
#include "WindowManager.h"
#include "TestRegistry.h"

class TestWindowManager : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void windowTable_data();
    void windowTable();
    void oneWindowPerKey_data();
    void oneWindowPerKey();
    void closedWindowComesBack();
    void unknownKey();
    void showChatForwardsQuestion_data();
    void showChatForwardsQuestion();
    void frameRememberedAcrossRestart();
    void contentSizedWindowKeepsItsSize();
    void centredWithoutSavedFrame();
    void offScreenFrameIsIgnored();
    void windowsFitTheScreen_data();
    void windowsFitTheScreen();

private:
    std::unique_ptr<WindowManager> makeManager();

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<AppModelFixture> m_fixture;
    std::unique_ptr<QQmlEngine> m_engine;
};

void TestWindowManager::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_settings = std::make_unique<QSettings>(m_dir->filePath(QStringLiteral("settings.ini")),
                                             QSettings::IniFormat);
    ViewHarness::failOnQmlWarnings();
    // The views read the application model, as in the running app.
    m_fixture = std::make_unique<AppModelFixture>();
    AppModelForeign::setInstance(&m_fixture->model());
    m_engine = std::make_unique<QQmlEngine>();
    QmlModule::prepare(*m_engine);
}

void TestWindowManager::cleanup()
{
    m_engine.reset();
    AppModelForeign::setInstance(nullptr);
    m_fixture.reset();
    m_settings.reset();
    m_dir.reset();
}

std::unique_ptr<WindowManager> TestWindowManager::makeManager()
{
    return std::make_unique<WindowManager>(m_engine.get(), m_settings.get());
}

void TestWindowManager::windowTable_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QSize>("minimum");
    QTest::addColumn<bool>("resizable");
    QTest::newRow("library") << "library" << QStringLiteral("Pellmora · Bibliothek")
                             << QSize(1180, 720) << QSize(1040, 640) << true;
    QTest::newRow("chat") << "chat" << QStringLiteral("Pellmora · Frag deine Tabs")
                          << QSize(820, 680) << QSize(720, 560) << true;
    // Content-sized windows: size from the view, fixed.
    QTest::newRow("context") << "context" << QStringLiteral("Mein Kontext") << QSize()
                             << QSize() << false;
    QTest::newRow("settings") << "settings" << QStringLiteral("Pellmora · Einstellungen")
                              << QSize() << QSize() << false;
}

void TestWindowManager::windowTable()
{
    QFETCH(QString, key);
    QFETCH(QString, title);
    QFETCH(QSize, size);
    QFETCH(QSize, minimum);
    QFETCH(bool, resizable);

    auto manager = makeManager();
    QQuickView *view = manager->show(key);
    QVERIFY(view);
    QCOMPARE(view->title(), title);
    QVERIFY(view->isVisible());
    QCOMPARE(view->color(), QColor(Qt::white));
    // Every window carries the main menu above its view.
    const QQuickItem *bar = view->rootObject()->findChild<QQuickItem *>(QStringLiteral("mainMenuBar"));
    QVERIFY(bar && bar->height() > 0);
    QQuickItem *content = WindowManager::content(view);
    QVERIFY(content);
    QCOMPARE(content->mapToItem(view->rootObject(), QPointF()).y(), bar->height());
    if (resizable) {
        // The table's sizes are the view's, below the menu bar.
        QTRY_COMPARE(content->size().toSize(), size);
        const QSize withBar = size + QSize(0, qCeil(bar->height()));
        QCOMPARE(view->size(), withBar);
        QCOMPARE(view->minimumSize(), minimum + QSize(0, qCeil(bar->height())));
        QVERIFY(view->maximumSize().width() > size.width());
    } else {
        const QQuickItem *root = view->rootObject();
        const QSize implicit(qCeil(root->implicitWidth()), qCeil(root->implicitHeight()));
        QVERIFY(!implicit.isEmpty());
        QVERIFY(content->implicitHeight() > 0);
        QCOMPARE(view->size(), implicit);
        QCOMPARE(view->minimumSize(), implicit);
        QCOMPARE(view->maximumSize(), implicit);
    }
    QCOMPARE(WindowManager::setupFor(key)->frameName, QStringLiteral("Pellmora.") + key);
}

void TestWindowManager::oneWindowPerKey_data()
{
    QTest::addColumn<QString>("key");
    for (const WindowSetup &setup : WindowManager::setups())
        QTest::newRow(qPrintable(setup.key)) << setup.key;
}

void TestWindowManager::oneWindowPerKey()
{
    QFETCH(QString, key);
    auto manager = makeManager();
    QCOMPARE(manager->window(key), nullptr);
    QQuickView *first = manager->show(key);
    QVERIFY(first);
    QQuickView *second = manager->show(key);
    QCOMPARE(second, first);
    QCOMPARE(manager->window(key), first);
    // The others stay unopened.
    for (const WindowSetup &setup : WindowManager::setups()) {
        if (setup.key != key)
            QCOMPARE(manager->window(setup.key), nullptr);
    }
}

void TestWindowManager::closedWindowComesBack()
{
    auto manager = makeManager();
    manager->showChat();
    QQuickView *chat = manager->window(QStringLiteral("chat"));
    QVERIFY(chat);
    chat->close();
    QVERIFY(!chat->isVisible());
    QCOMPARE(manager->window(QStringLiteral("chat")), chat);
    manager->showChat();
    QCOMPARE(manager->window(QStringLiteral("chat")), chat);
    QVERIFY(chat->isVisible());
}

void TestWindowManager::unknownKey()
{
    auto manager = makeManager();
    QCOMPARE(manager->show(QStringLiteral("about")), nullptr);
    QCOMPARE(WindowManager::setupFor(QStringLiteral("about")), nullptr);
}

void TestWindowManager::showChatForwardsQuestion_data()
{
    QTest::addColumn<QString>("question");
    QTest::addColumn<int>("asked");
    QTest::newRow("none") << QString() << 0;
    QTest::newRow("empty") << QStringLiteral("") << 0;
    QTest::newRow("question") << QStringLiteral("Was habe ich über Rust gelesen?") << 1;
}

void TestWindowManager::showChatForwardsQuestion()
{
    QFETCH(QString, question);
    QFETCH(int, asked);
    auto manager = makeManager();
    QQuickView *shownWhenAsked = nullptr;
    connect(manager.get(), &WindowManager::chatQuestionAsked, this, [&] {
        shownWhenAsked = manager->window(QStringLiteral("chat"));
    });
    QSignalSpy spy(manager.get(), &WindowManager::chatQuestionAsked);
    manager->showChat(question);
    QVERIFY(manager->window(QStringLiteral("chat")));
    QCOMPARE(spy.size(), asked);
    if (asked) {
        QCOMPARE(spy.first().first().toString(), question);
        QVERIFY(shownWhenAsked && shownWhenAsked->isVisible());
    }
}

void TestWindowManager::frameRememberedAcrossRestart()
{
    const QRect frame(40, 30, 1100, 700);
    {
        auto manager = makeManager();
        QQuickView *view = manager->show(QStringLiteral("library"));
        QVERIFY(view);
        view->setGeometry(frame);
        QCOMPARE(view->geometry(), frame);
        // Saved while running, not only at the end.
        QTRY_COMPARE(m_settings->value(QStringLiteral("Pellmora.library")).toRect(), frame);
    }
    m_settings->sync();
    QCOMPARE(m_settings->value(QStringLiteral("Pellmora.library")).toRect(), frame);

    auto manager = makeManager();
    QQuickView *view = manager->show(QStringLiteral("library"));
    QVERIFY(view);
    QCOMPARE(view->geometry(), frame);
    // Another window's frame is not affected.
    QQuickView *chat = manager->show(QStringLiteral("chat"));
    QTRY_COMPARE(WindowManager::content(chat)->size().toSize(), QSize(820, 680));
}

void TestWindowManager::contentSizedWindowKeepsItsSize()
{
    // A stale frame from an older layout must not resize a fixed window.
    m_settings->setValue(QStringLiteral("Pellmora.settings"), QRect(20, 25, 999, 888));
    auto manager = makeManager();
    QQuickView *view = manager->show(QStringLiteral("settings"));
    QVERIFY(view);
    QCOMPARE(view->position(), QPoint(20, 25));
    QCOMPARE(view->size(), view->minimumSize());
    QVERIFY(view->size() != QSize(999, 888));
}

void TestWindowManager::centredWithoutSavedFrame()
{
    auto manager = makeManager();
    QQuickView *view = manager->show(QStringLiteral("context"));
    QVERIFY(view);
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    QVERIFY(qAbs(view->geometry().center().x() - area.center().x()) <= 1);
    QVERIFY(qAbs(view->geometry().center().y() - area.center().y()) <= 1);
}

void TestWindowManager::offScreenFrameIsIgnored()
{
    m_settings->setValue(QStringLiteral("Pellmora.chat"), QRect(-20000, -20000, 800, 600));
    auto manager = makeManager();
    QQuickView *view = manager->show(QStringLiteral("chat"));
    QVERIFY(view);
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    QVERIFY(area.intersects(view->geometry()));
    QTRY_COMPARE(WindowManager::content(view)->size().toSize(), QSize(820, 680));
}

void TestWindowManager::windowsFitTheScreen_data()
{
    QTest::addColumn<QSize>("wanted");
    QTest::addColumn<QRect>("available");
    QTest::newRow("fits") << QSize(620, 700) << QRect(0, 0, 1920, 1040);
    QTest::newRow("taller than the screen") << QSize(620, 1025) << QRect(0, 0, 1600, 1000);
    QTest::newRow("wider than the screen") << QSize(1180, 760) << QRect(0, 24, 1024, 744);
}

void TestWindowManager::windowsFitTheScreen()
{
    QFETCH(QSize, wanted);
    QFETCH(QRect, available);
    const QSize got = WindowManager::fitted(wanted, available);
    const QSize outer = got + WindowManager::decoration;
    QVERIFY(outer.width() <= available.width() && outer.height() <= available.height());
    // Only what does not fit is cut.
    QVERIFY(got.width() == wanted.width() || outer.width() == available.width());
    QVERIFY(got.height() == wanted.height() || outer.height() == available.height());
}

PELLMORA_TEST_MAIN(TestWindowManager)
#include "TestWindowManager.moc"
