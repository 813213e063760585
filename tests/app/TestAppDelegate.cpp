// The delegate after launch: due reminders reaching the tray, another
// program's writes picked up, a click on a notification, and the file menu's
// export and import through a file.
#include "AppDelegate.h"
#include "AppModel.h"
#include "FakeClock.h"
#include "Library.h"
#include "LibraryBuilder.h"
#include "LibraryImport.h"
#include "MainMenu.h"
#include "TestSupport.h"
#include "TrayController.h"
#include "ViewHarness.h"
#include "WindowManager.h"

#include <QFile>
#include <QQuickView>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include "TestRegistry.h"

Q_DECLARE_METATYPE(ImportFormat)

class TestAppDelegate : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void trayFollowsDueReminders();
    void tickReloadsAnotherProgramsWrite();
    void clickOnANotificationShowsTheTab();
    void exportAndImportBack_data();
    void exportAndImportBack();
    void fileErrorsNameTheFile();

private:
    QQuickView *libraryWindow() const { return m_delegate->windows()->window(QStringLiteral("library")); }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<FakeClock> m_clock;
    std::unique_ptr<AppDelegate> m_delegate;
};

void TestAppDelegate::init()
{
    ViewHarness::failOnQmlWarnings();
    m_dir = std::make_unique<QTemporaryDir>();
    // The browser connection listens in the runtime folder: a private one.
    qputenv("XDG_RUNTIME_DIR", m_dir->filePath(QStringLiteral("run")).toUtf8());
    m_clock = std::make_unique<FakeClock>();
    m_delegate = std::make_unique<AppDelegate>(LibraryStore(m_dir->filePath(QStringLiteral("library.json"))), *m_clock);
    m_delegate->launch();
}

void TestAppDelegate::cleanup()
{
    m_delegate.reset();
    m_clock.reset();
    m_dir.reset();
}

void TestAppDelegate::trayFollowsDueReminders()
{
    m_delegate->library()->replace(LibraryBuilder()
                                       .tab("Fahrplan").reminder(m_clock->now().addSecs(-60))
                                       .tab("Hotel").reminder(m_clock->now().addDays(2)));
    // Refreshed once the changes settle, without waiting for the timer.
    QTRY_COMPARE(m_delegate->tray()->badgeCount(), 1);
    QVERIFY(m_delegate->tray()->toolTip().contains(QLatin1Char('1')));
    // Time passes: the housekeeping round counts the second one too.
    m_clock->advance(3 * 24 * 3600);
    m_delegate->tick();
    QCOMPARE(m_delegate->tray()->badgeCount(), 2);
    QVERIFY(m_delegate->tray()->toolTip().contains(QLatin1Char('2')));
}

void TestAppDelegate::tickReloadsAnotherProgramsWrite()
{
    m_delegate->library()->replace(LibraryBuilder().tab("Eigen"));
    // The command-line companion writes the file while the app runs.
    const LibraryStore other(m_delegate->library()->store().filePath());
    QVERIFY(other.save(LibraryBuilder().tab("Eigen").tab("Fremd")));
    QFile file(other.filePath());
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(5), QFileDevice::FileModificationTime));
    file.close();
    QCOMPARE(m_delegate->library()->data().tabs.size(), 1);
    m_delegate->tick();
    QCOMPARE(m_delegate->library()->data().tabs.size(), 2);
}

void TestAppDelegate::clickOnANotificationShowsTheTab()
{
    m_delegate->library()->replace(LibraryBuilder().tab("Sintra"));
    libraryWindow()->hide();
    m_delegate->handleAnswer({QStringLiteral("default"), {{QStringLiteral("tabId"), idText(LibraryBuilder::tabId(1))}}});
    QCOMPARE(m_delegate->model()->detailTab().value_or(SavedTab{}).id, LibraryBuilder::tabId(1));
    QVERIFY(libraryWindow()->isVisible());
}

void TestAppDelegate::exportAndImportBack_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<ImportFormat>("format"); // what the written file reads as
    QTest::newRow("json") << "export.json" << ImportFormat::json;
    QTest::newRow("bookmarks") << "export.HTM" << ImportFormat::html;
    QTest::newRow("tab lines") << "export.txt" << ImportFormat::onetab;
}

void TestAppDelegate::exportAndImportBack()
{
    QFETCH(QString, fileName);
    QFETCH(ImportFormat, format);
    const QStringList urls = {"https://www.sbb.ch/de/fahrplan", "https://www.alfama.pt/hotel",
                              "https://de.wikipedia.org/wiki/Sintra"};
    m_delegate->library()->replace(
        LibraryBuilder().window().tab("Fahrplan", urls[0]).tab("Hotel", urls[1]).window().tab("Sintra", urls[2]));
    const QString path = m_dir->filePath(fileName);
    emit m_delegate->mainMenu()->exportRequested(path);
    QCOMPARE(LibraryImport::guessFormat(TestSupport::readFile(path)), format);

    m_delegate->model()->clearLibrary();
    libraryWindow()->hide();
    // Imported twice: the second time finds every tab already saved.
    QSignalSpy finished(m_delegate.get(), &AppDelegate::importFinished);
    for (int round = 0; round < 2; ++round) {
        emit m_delegate->mainMenu()->importRequested(path);
        QVERIFY(finished.wait());
    }
    QStringList imported;
    for (const SavedTab &tab : m_delegate->library()->data().tabs)
        imported << tab.url;
    QCOMPARE(imported, urls);
    QCOMPARE(m_delegate->library()->data().windows.size(), 2);
    QVERIFY(libraryWindow()->isVisible());
}

void TestAppDelegate::fileErrorsNameTheFile()
{
    const QString path = m_dir->filePath(QStringLiteral("fehlt/tabs.txt"));
    emit m_delegate->mainMenu()->exportRequested(path);
    QVERIFY(m_delegate->model()->notice().value_or(QString()).contains(path));
    m_delegate->model()->setNotice(std::nullopt);
    QSignalSpy finished(m_delegate.get(), &AppDelegate::importFinished);
    emit m_delegate->mainMenu()->importRequested(path);
    QVERIFY(finished.wait());
    QVERIFY(m_delegate->model()->notice().value_or(QString()).contains(path));
}

PELLMORA_TEST_MAIN(TestAppDelegate)
#include "TestAppDelegate.moc"
