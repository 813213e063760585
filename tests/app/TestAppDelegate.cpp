#include <QFile>
#include <QQuickView>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include "AppDelegate.h"
#include "AppModel.h"
#include "FakeClock.h"
#include "Library.h"
#include "LibraryStore.h"
#include "MainMenu.h"
#include "TestSupport.h"
#include "TrayController.h"
#include "WindowManager.h"
#include "ViewHarness.h"
#include "TestRegistry.h"

// The delegate after launch: the first window, the tray following due
// reminders, housekeeping picking up another program's writes, the menu's
// commands reaching the model, and a click on a notification.
class TestAppDelegate : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void launchOpensTheLibrary();
    void trayFollowsDueReminders();
    void tickReloadsAnotherProgramsWrite();
    void findHintsSelectsTheHintsList();
    void demoToggleFlipsTheModelAndTheMark();
    void clickOnANotificationShowsTheTab();
    void laterStartBringsTheLibraryBack();
    void importFromTheFileMenu();

private:
    SavedTab tab(const QString &title) const;
    QQuickView *libraryWindow() const;

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<FakeClock> m_clock;
    std::unique_ptr<AppDelegate> m_delegate;
};

void TestAppDelegate::init()
{
    ViewHarness::failOnQmlWarnings();
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    // The browser connection listens in the runtime folder: a private one.
    qputenv("XDG_RUNTIME_DIR", m_dir->filePath(QStringLiteral("run")).toUtf8());
    m_clock = std::make_unique<FakeClock>(QDateTime(QDate(2026, 11, 16), QTime(20, 31)));
    m_delegate = std::make_unique<AppDelegate>(
        LibraryStore(m_dir->filePath(QStringLiteral("library.json"))), *m_clock);
    m_delegate->launch();
}

void TestAppDelegate::cleanup()
{
    m_delegate.reset();
    m_clock.reset();
    m_dir.reset();
}

SavedTab TestAppDelegate::tab(const QString &title) const
{
    SavedTab t;
    t.id = QUuid::createUuid();
    t.title = title;
    t.url = QStringLiteral("https://example.org/") + title.toLower();
    t.domain = SavedTab::domainOf(t.url);
    t.savedAt = m_clock->now().addDays(-3);
    return t;
}

QQuickView *TestAppDelegate::libraryWindow() const
{
    return m_delegate->windows()->window(QStringLiteral("library"));
}

void TestAppDelegate::launchOpensTheLibrary()
{
    QVERIFY(libraryWindow() && libraryWindow()->isVisible());
    QVERIFY(!m_delegate->windows()->window(QStringLiteral("chat")));
    QCOMPARE(m_delegate->timer().interval(), 30000);
    QVERIFY(m_delegate->timer().isActive());
    QCOMPARE(m_delegate->tray()->toolTip(), QStringLiteral("Pellmora"));
    // Closing the last window does not end the application.
    QVERIFY(!QGuiApplication::quitOnLastWindowClosed());
}

void TestAppDelegate::trayFollowsDueReminders()
{
    SavedTab due = tab(QStringLiteral("Fahrplan"));
    due.reminderAt = m_clock->now().addSecs(-60);
    SavedTab later = tab(QStringLiteral("Hotel"));
    later.reminderAt = m_clock->now().addDays(2);
    m_delegate->library()->mutate([&](LibraryData &data) { data.tabs << due << later; });
    // Refreshed after the model's changes settle, without waiting for the timer.
    QTRY_COMPARE(m_delegate->tray()->toolTip(), QStringLiteral("Pellmora: 1 fällige Erinnerungen"));
    QCOMPARE(m_delegate->tray()->title(), QStringLiteral(" ⏰ 1"));

    // Time passes: the housekeeping round counts the second one too.
    m_clock->advance(3 * 24 * 3600);
    m_delegate->tick();
    QCOMPARE(m_delegate->tray()->toolTip(), QStringLiteral("Pellmora: 2 fällige Erinnerungen"));
}

void TestAppDelegate::tickReloadsAnotherProgramsWrite()
{
    const SavedTab own = tab(QStringLiteral("Eigen"));
    m_delegate->library()->mutate([&](LibraryData &data) { data.tabs << own; });
    // Another program (the command-line companion) writes the file later.
    const LibraryStore other(m_delegate->library()->store().filePath());
    LibraryData data = other.load();
    data.tabs << tab(QStringLiteral("Fremd"));
    QVERIFY(other.save(data));
    QFile file(other.filePath());
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(5), QFileDevice::FileModificationTime));
    file.close();

    QCOMPARE(m_delegate->library()->data().tabs.size(), 1);
    m_delegate->tick();
    QCOMPARE(m_delegate->library()->data().tabs.size(), 2);
}

void TestAppDelegate::findHintsSelectsTheHintsList()
{
    libraryWindow()->hide();
    // No context and no tabs: nothing new is found, the list is shown anyway.
    QMetaObject::invokeMethod(m_delegate->mainMenu(), "findHints");
    QCOMPARE(m_delegate->model()->selection(), SidebarSelection::hints());
    QVERIFY(libraryWindow()->isVisible());
}

void TestAppDelegate::demoToggleFlipsTheModelAndTheMark()
{
    AppModel *model = m_delegate->model();
    MainMenu *menu = m_delegate->mainMenu();
    const bool before = model->demoMode();
    QCOMPARE(menu->demoMode(), before);
    menu->toggleDemo();
    QCOMPARE(model->demoMode(), !before);
    QCOMPARE(menu->demoMode(), !before);
    // A change made elsewhere shows in the menu too.
    model->setDemoMode(before);
    QCOMPARE(menu->demoMode(), before);
}

void TestAppDelegate::clickOnANotificationShowsTheTab()
{
    const SavedTab saved = tab(QStringLiteral("Sintra"));
    m_delegate->library()->mutate([&](LibraryData &data) { data.tabs << saved; });
    libraryWindow()->hide();
    NotificationAnswer click;
    click.action = QStringLiteral("default");
    click.userInfo.insert(QStringLiteral("tabId"), saved.id.toString(QUuid::WithoutBraces));
    m_delegate->handleAnswer(click);
    QVERIFY(m_delegate->model()->detailTab());
    QCOMPARE(m_delegate->model()->detailTab()->id, saved.id);
    QVERIFY(libraryWindow()->isVisible());

    // A click for a tab that is gone changes nothing and opens nothing.
    libraryWindow()->hide();
    m_delegate->model()->setDetailTab(std::nullopt);
    click.userInfo.insert(QStringLiteral("tabId"), QUuid::createUuid().toString());
    m_delegate->handleAnswer(click);
    QVERIFY(!m_delegate->model()->detailTab());
    QVERIFY(!libraryWindow()->isVisible());
}

void TestAppDelegate::laterStartBringsTheLibraryBack()
{
    libraryWindow()->close();
    QVERIFY(!libraryWindow()->isVisible());
    m_delegate->activate();
    QVERIFY(libraryWindow()->isVisible());
}

void TestAppDelegate::importFromTheFileMenu()
{
    const QString path = m_dir->filePath(QStringLiteral("tabs.txt"));
    QVERIFY(TestSupport::writeFile(path, "https://www.sbb.ch/ | SBB\nnicht eine Adresse\n\n"
                                         "https://www.alfama.pt/ | Alfama\n"));
    libraryWindow()->hide();
    QSignalSpy finished(m_delegate.get(), &AppDelegate::importFinished);
    emit m_delegate->mainMenu()->importRequested(path);
    QVERIFY(finished.wait());
    QCOMPARE(m_delegate->library()->data().tabs.size(), 2);
    QCOMPARE(m_delegate->model()->notice(),
             std::optional<QString>(QStringLiteral("2 Tabs in 2 Fenstern importiert, 0 bereits "
                                                   "gespeichert, 1 fehlerhafte Zeile übersprungen.")));
    QVERIFY(libraryWindow()->isVisible());

    emit m_delegate->mainMenu()->importRequested(m_dir->filePath(QStringLiteral("fehlt.txt")));
    QVERIFY(finished.wait());
    QVERIFY(m_delegate->model()->notice()->contains(QStringLiteral("kann nicht gelesen werden")));
    QCOMPARE(m_delegate->library()->data().tabs.size(), 2);
}

PELLMORA_TEST_MAIN(TestAppDelegate)
#include "TestAppDelegate.moc"
