#include <QAbstractButton>
#include <QMessageBox>
#include <QPushButton>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include "MainMenu.h"
#include "AppModelFixture.h"
#include "AppModelForeign.h"
#include "QmlModule.h"
#include "ViewHarness.h"
#include "WindowManager.h"
#include "PlatformWords.h"
#include "TestRegistry.h"

// The main menu as the windows show it: menus, entries, order and shortcuts,
// what each entry asks for, the confirmation before replacing the library and
// the demo mark.
class TestMainMenu : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void menuTitles();
    void entries_data();
    void entries();
    void everyWindowHasTheMenu_data();
    void everyWindowHasTheMenu();
    void shortcutReachesTheMenu();
    void replacingAsksFirst_data();
    void replacingAsksFirst();
    void demoMarkFollowsTheModel();

private:
    QQuickView *library();
    QObject *menu(int index);
    QList<QObject *> items(QObject *menu);
    QObject *entry(const QString &menuTitle, const QString &text);

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<AppModelFixture> m_fixture;
    std::unique_ptr<QQmlEngine> m_engine;
    std::unique_ptr<MainMenu> m_menu;
    std::unique_ptr<WindowManager> m_windows;
};

void TestMainMenu::init()
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
    m_menu = std::make_unique<MainMenu>(nullptr);
    MainMenu::attach(m_engine.get(), m_menu.get());
    m_windows = std::make_unique<WindowManager>(m_engine.get(), m_settings.get());
}

void TestMainMenu::cleanup()
{
    m_windows.reset();
    m_engine.reset();
    AppModelForeign::setInstance(nullptr);
    m_fixture.reset();
    m_menu.reset();
    m_settings.reset();
    m_dir.reset();
}

QQuickView *TestMainMenu::library()
{
    return m_windows->show(QStringLiteral("library"));
}

QObject *TestMainMenu::menu(int index)
{
    QQuickView *view = library();
    auto *bar = view ? view->rootObject()->findChild<QObject *>(QStringLiteral("mainMenuBar")) : nullptr;
    if (!bar)
        return nullptr;
    QObject *result = nullptr;
    // menuAt() returns a QQuickMenu, a type the test cannot name.
    QMetaObject::invokeMethod(bar, "menuAt", QGenericReturnArgument("QQuickMenu*", &result),
                              Q_ARG(int, index));
    return result;
}

QList<QObject *> TestMainMenu::items(QObject *menuObject)
{
    QList<QObject *> result;
    const int count = menuObject->property("count").toInt();
    for (int i = 0; i < count; ++i) {
        QQuickItem *item = nullptr;
        QMetaObject::invokeMethod(menuObject, "itemAt", Q_RETURN_ARG(QQuickItem *, item),
                                  Q_ARG(int, i));
        result.append(item);
    }
    return result;
}

QObject *TestMainMenu::entry(const QString &menuTitle, const QString &text)
{
    for (int m = 0; QObject *found = menu(m); ++m) {
        if (found->property("title").toString() != menuTitle)
            continue;
        for (QObject *item : items(found)) {
            if (item && item->property("text").toString() == text)
                return item->property("action").value<QObject *>();
        }
    }
    return nullptr;
}

void TestMainMenu::menuTitles()
{
    QStringList titles;
    for (int m = 0; QObject *found = menu(m); ++m)
        titles.append(found->property("title").toString());
    QCOMPARE(titles, QStringList({QStringLiteral("Pellmora"), QStringLiteral("Ablage"),
                                  QStringLiteral("Bearbeiten"), QStringLiteral("Fenster"),
                                  QStringLiteral("Hilfe")}));
}

void TestMainMenu::entries_data()
{
    // Each menu's entries in order, "—" for a separator, with shortcuts.
    QTest::addColumn<int>("menuIndex");
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<QStringList>("shortcuts");
    const QString sep = QStringLiteral("—");
    QTest::newRow("application")
        << 0
        << QStringList{QStringLiteral("Über Pellmora"), sep, QStringLiteral("Einstellungen …"), sep,
                       QStringLiteral("Pellmora ausblenden"), sep, QStringLiteral("Pellmora beenden")}
        << QStringList{{}, {}, QStringLiteral("Ctrl+,"), {}, QStringLiteral("Ctrl+H"), {},
                       QStringLiteral("Ctrl+Q")};
    QTest::newRow("file")
        << 1
        << QStringList{QStringLiteral("Bibliothek"), QStringLiteral("Frag deine Tabs"),
                       QStringLiteral("Mein Kontext"), sep, QStringLiteral("Themen neu bilden"),
                       QStringLiteral("Hinweise jetzt suchen"), sep, QStringLiteral("Importieren …"),
                       QStringLiteral("Exportieren …"), sep, QStringLiteral("Fenster schliessen")}
        << QStringList{QStringLiteral("Ctrl+1"), QStringLiteral("Ctrl+2"), QStringLiteral("Ctrl+3"),
                       {}, {}, {}, {}, {}, {}, {}, QStringLiteral("Ctrl+W")};
    QTest::newRow("edit")
        << 2
        << QStringList{QStringLiteral("Widerrufen"), QStringLiteral("Wiederholen"), sep,
                       QStringLiteral("Ausschneiden"), QStringLiteral("Kopieren"),
                       QStringLiteral("Einsetzen"), QStringLiteral("Alles auswählen")}
        << QStringList{QStringLiteral("Ctrl+Z"), QStringLiteral("Ctrl+Shift+Z"), {},
                       QStringLiteral("Ctrl+X"), QStringLiteral("Ctrl+C"), QStringLiteral("Ctrl+V"),
                       QStringLiteral("Ctrl+A")};
    QTest::newRow("window") << 3 << QStringList{PlatformWords::minimizeCommand()}
                            << QStringList{QStringLiteral("Ctrl+M")};
    QTest::newRow("help")
        << 4
        << QStringList{QStringLiteral("Beispiel-Daten laden"),
                       PlatformWords::demoMenuEntry({}),
                       QStringLiteral("Eigene Bibliothek zurückholen"), sep,
                       QStringLiteral("Bibliothek leeren …")}
        << QStringList{{}, {}, {}, {}, {}};
}

void TestMainMenu::entries()
{
    QFETCH(int, menuIndex);
    QFETCH(QStringList, texts);
    QFETCH(QStringList, shortcuts);
    QObject *found = menu(menuIndex);
    QVERIFY(found);
    QStringList gotTexts;
    QStringList gotShortcuts;
    for (QObject *item : items(found)) {
        QVERIFY(item);
        const bool separator = QByteArray(item->metaObject()->className()).contains("Separator");
        gotTexts.append(separator ? QStringLiteral("—") : item->property("text").toString());
        const QObject *action = item->property("action").value<QObject *>();
        gotShortcuts.append(action ? action->property("shortcut").toString() : QString());
    }
    QCOMPARE(gotTexts, texts);
    QCOMPARE(gotShortcuts, shortcuts);
}

void TestMainMenu::everyWindowHasTheMenu_data()
{
    QTest::addColumn<QString>("key");
    for (const WindowSetup &setup : WindowManager::setups())
        QTest::newRow(qPrintable(setup.key)) << setup.key;
}

void TestMainMenu::everyWindowHasTheMenu()
{
    QFETCH(QString, key);
    QQuickView *view = m_windows->show(key);
    QVERIFY(view);
    auto *bar = view->rootObject()->findChild<QObject *>(QStringLiteral("mainMenuBar"));
    QVERIFY(bar);
    QObject *file = nullptr;
    QMetaObject::invokeMethod(bar, "menuAt", QGenericReturnArgument("QQuickMenu*", &file),
                              Q_ARG(int, 1));
    QVERIFY(file);
    // Each window's menu reaches the same commands.
    QSignalSpy spy(m_menu.get(), &MainMenu::openChatRequested);
    QQuickItem *chatItem = nullptr;
    QMetaObject::invokeMethod(file, "itemAt", Q_RETURN_ARG(QQuickItem *, chatItem), Q_ARG(int, 1));
    QVERIFY(chatItem);
    QMetaObject::invokeMethod(chatItem->property("action").value<QObject *>(), "trigger");
    QCOMPARE(spy.size(), 1);
}

void TestMainMenu::shortcutReachesTheMenu()
{
    QQuickView *view = library();
    QVERIFY(view);
    QVERIFY(QTest::qWaitForWindowActive(view));
    QSignalSpy context(m_menu.get(), &MainMenu::openContextRequested);
    QSignalSpy settings(m_menu.get(), &MainMenu::openSettingsRequested);
    QTest::keyClick(view, Qt::Key_3, Qt::ControlModifier);
    QTest::keyClick(view, Qt::Key_Comma, Qt::ControlModifier);
    QCOMPARE(context.size(), 1);
    QCOMPARE(settings.size(), 1);
}

void TestMainMenu::replacingAsksFirst_data()
{
    QTest::addColumn<QString>("entryText");
    QTest::addColumn<bool>("ownTabs");
    QTest::addColumn<QString>("button"); // empty: no question
    QTest::addColumn<int>("requests");
    const QString clear = QStringLiteral("Bibliothek leeren …");
    const QString demo = QStringLiteral("Beispiel-Daten laden");
    QTest::newRow("clear: Leeren") << clear << false << QStringLiteral("Leeren") << 1;
    QTest::newRow("clear: Abbrechen") << clear << false << QStringLiteral("Abbrechen") << 0;
    QTest::newRow("demo over own tabs: Laden") << demo << true << QStringLiteral("Laden") << 1;
    QTest::newRow("demo over own tabs: Abbrechen") << demo << true << QStringLiteral("Abbrechen") << 0;
    QTest::newRow("demo over demo tabs") << demo << false << QString() << 1;
}

void TestMainMenu::replacingAsksFirst()
{
    QFETCH(QString, entryText);
    QFETCH(bool, ownTabs);
    QFETCH(QString, button);
    QFETCH(int, requests);
    m_menu->setAskBeforeDemo(ownTabs);
    QSignalSpy clear(m_menu.get(), &MainMenu::clearLibraryRequested);
    QSignalSpy demo(m_menu.get(), &MainMenu::loadDemoRequested);
    QObject *action = entry(QStringLiteral("Hilfe"), entryText);
    QVERIFY(action);
    QMetaObject::invokeMethod(action, "trigger");
    QMessageBox *box = m_menu->confirmation();
    if (button.isEmpty()) {
        QVERIFY(!box);
        QCOMPARE(clear.size() + demo.size(), requests);
        return;
    }
    QVERIFY(box);
    QCOMPARE(clear.size() + demo.size(), 0);
    const QList<QAbstractButton *> buttons = box->buttons();
    QCOMPARE(buttons.size(), 2);
    QVERIFY(box->defaultButton()->text() != QStringLiteral("Abbrechen"));
    QAbstractButton *chosen = nullptr;
    for (QAbstractButton *b : buttons) {
        if (b->text() == button)
            chosen = b;
    }
    QVERIFY(chosen);
    chosen->click();
    QCOMPARE(clear.size() + demo.size(), requests);
    QTRY_VERIFY(!m_menu->confirmation());
}

void TestMainMenu::demoMarkFollowsTheModel()
{
    QObject *action = entry(QStringLiteral("Hilfe"), PlatformWords::demoMenuEntry({}));
    QVERIFY(action);
    QVERIFY(action->property("checkable").toBool());
    QCOMPARE(action->property("checked").toBool(), false);
    m_menu->setDemoMode(true);
    QCOMPARE(action->property("checked").toBool(), true);

    // The model flips its mode on the request; the mark shows the outcome.
    bool model = true;
    connect(m_menu.get(), &MainMenu::toggleDemoRequested, this, [&] {
        model = !model;
        m_menu->setDemoMode(model);
    });
    QMetaObject::invokeMethod(action, "trigger");
    QCOMPARE(action->property("checked").toBool(), false);

    // A model that refuses the toggle leaves the mark where it was.
    disconnect(m_menu.get(), &MainMenu::toggleDemoRequested, this, nullptr);
    QMetaObject::invokeMethod(action, "trigger");
    QCOMPARE(action->property("checked").toBool(), false);
    // And a change from elsewhere (loading demo data) still reaches it.
    m_menu->setDemoMode(true);
    QCOMPARE(action->property("checked").toBool(), true);
}

PELLMORA_TEST_MAIN(TestMainMenu)
#include "TestMainMenu.moc"
