// The app model as the wiring over the library, the sleep run, the browser
// and the notifications: only what it decides itself. The rules of the layers
// below it are tested in their own folders.
#include "AppModelFixture.h"

#include "LaunchAtLogin.h"
#include "LibraryBackups.h"
#include "LibraryBuilder.h"
#include "LibraryStore.h"
#include "NotificationAnswers.h"
#include "NotificationRecorder.h"
#include "PrivateBus.h"
#include "Reminders.h"
#include "SafariError.h"
#include "SleepOptions.h"
#include "TabListModel.h"
#include "TestSupport.h"

#include <QDir>
#include <QSignalSpy>
#include <QTest>
#include <QThreadPool>

#include <memory>
#include "TestRegistry.h"

using Call = FakeBrowserBridge::Call;
using Outcome = NotificationAnswers::Outcome;

namespace {

// Saves without fetching pages, so a run needs nothing but the fake browser.
QByteArray offlineOptions(bool keepMail = false)
{
    SleepOptions options;
    options.saveContent = false;
    options.sortByTopic = false;
    options.keepPinned = keepMail;
    options.pinnedDomains = {QStringLiteral("mail.example.ch")};
    return options.encode();
}

} // namespace

class TestAppModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void settingsReadAtStartAndWrittenOnChange_data();
    void settingsReadAtStartAndWrittenOnChange();
    void selectionShowsItsTabs_data();
    void selectionShowsItsTabs();

    void sleepRunSavesThenClosesOnce();
    void failedRunClosesNothing_data();
    void failedRunClosesNothing();

    void openMarksReadAndPicksTheOpener_data();
    void openMarksReadAndPicksTheOpener();
    void saveTakesOnlyTheEditsAndShowsErrors();
    void deleteKeepsEveryOtherTab();
    void notificationAnswers_data();
    void notificationAnswers();
    void missedRemindersArePostedOnce();
    void demoDataKeepsTheOwnLibrary();
    void clearingKeepsACopyOfTheLibrary();
    void launchAtLoginWritesTheAutostartEntry();

private:
    PrivateBus m_bus;
    std::unique_ptr<NotificationRecorder> m_notes;
    std::unique_ptr<AppModelFixture> f;
};

void TestAppModel::initTestCase()
{
    // Reminders are only handed on with a session bus: a private one.
    QVERIFY(m_bus.start());
    qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus.address().toUtf8());
    qunsetenv("PELLMORA_NO_NOTIFICATIONS");
    Reminders::setEnabled(true);
    QVERIFY(Reminders::isUsable());
}

void TestAppModel::init()
{
    m_notes = std::make_unique<NotificationRecorder>();
    f = std::make_unique<AppModelFixture>();
    f->useNotifications(m_notes.get());
}

void TestAppModel::cleanup()
{
    f.reset();
    m_notes.reset();
}

void TestAppModel::settingsReadAtStartAndWrittenOnChange_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("stored"); // invalid: nothing stored
    QTest::addColumn<bool>("read");
    QTest::newRow("sleep options") << QByteArray("keepPinned") << "sleepOptions" << QVariant(offlineOptions(true)) << true;
    QTest::newRow("no sleep options") << QByteArray("keepPinned") << "sleepOptions" << QVariant() << false;
    QTest::newRow("browser connected") << QByteArray("safariConnected") << "safariConnected" << QVariant(true) << true;
    QTest::newRow("demo mode") << QByteArray("demoMode") << "demoMode" << QVariant(true) << true;
    QTest::newRow("no demo mode") << QByteArray("demoMode") << "demoMode" << QVariant() << false;
}

void TestAppModel::settingsReadAtStartAndWrittenOnChange()
{
    QFETCH(QByteArray, property);
    QFETCH(QString, key);
    QFETCH(QVariant, stored);
    QFETCH(bool, read);
    if (stored.isValid())
        f->settings().setValue(key, stored);
    QCOMPARE(f->model().property(property).toBool(), read);
    QVERIFY(f->model().setProperty(property, !read));
    // The next start finds the change.
    f->resetModel();
    QCOMPARE(f->model().property(property).toBool(), !read);
}

void TestAppModel::selectionShowsItsTabs_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QList<int>>("tabs");
    // Window 2's tabs were saved a day later; the reminders come on tabs 3, 1, 4.
    QTest::newRow("all: newest run first") << "all" << QList<int>{3, 4, 1, 2};
    QTest::newRow("notes") << "notes" << QList<int>{4, 2};
    QTest::newRow("reminders: soonest first") << "reminders" << QList<int>{3, 1, 4};
    QTest::newRow("hints: open ones in their order") << "hints" << QList<int>{1, 2};
    QTest::newRow("window") << "window:" + idText(LibraryBuilder::windowId(2)) << QList<int>{3, 4};
    QTest::newRow("topic") << "topic:" + idText(LibraryBuilder::topicId(1)) << QList<int>{3, 1};
    QTest::newRow("unknown topic") << "topic:" + idText(LibraryBuilder::topicId(9)) << QList<int>{};
}

void TestAppModel::selectionShowsItsTabs()
{
    QFETCH(QString, key);
    QFETCH(QList<int>, tabs);
    const QDateTime later = LibraryBuilder::now().addDays(1);
    f->library().replace(LibraryBuilder()
                             .window().tab("Alt 1").reminder(later.addDays(2)).tab("Alt 2").note("wichtig")
                             .window().tab("Neu 1").savedAt(later).reminder(later)
                             .tab("Neu 2").savedAt(later).note("lesen").reminder(later.addDays(7))
                             .topic("Thema", {1, 3}).hint(1, "a").hint(4, "b", true).hint(2, "c"));
    f->model().setSelectionKey(key);
    QStringList expected;
    for (int n : tabs)
        expected << idText(LibraryBuilder::tabId(n));
    QCOMPARE(f->model().visibleTabsModel()->ids(), expected);
}

void TestAppModel::sleepRunSavesThenClosesOnce()
{
    f->settings().setValue(QStringLiteral("safariConnected"), true);
    f->settings().setValue(QStringLiteral("sleepOptions"), offlineOptions(true));
    f->bridge().setWindows({AppModelFixture::window(1, {"https://a.ch/1", "https://mail.example.ch/1", "https://a.ch/2"}),
                            AppModelFixture::window(2, {"https://b.ch/1"})});
    AppModel &model = f->model();
    QSignalSpy ended(&model, &AppModel::sleepRunEnded);
    model.sleepAllTabs();
    model.sleepAllTabs(); // refused while the first runs
    QVERIFY(ended.wait(30000));
    QThreadPool::globalInstance()->waitForDone(10000);

    QCOMPARE(model.sleepStage().kind, SleepStage::Kind::done);
    QCOMPARE(f->bridge().closeRequests().size(), 1);
    QCOMPARE(f->bridge().countTabs()->tabs, 1); // the pinned one
    QCOMPARE(LibraryStore(f->library().store().filePath()).load().tabs.size(), 4);
    QCOMPARE(model.liveTabs(), std::optional(1));
    // The popover was closed: the outcome comes as a notification.
    QCOMPARE(m_notes->added.size(), 1);
}

void TestAppModel::failedRunClosesNothing_data()
{
    QTest::addColumn<bool>("connected");
    QTest::addColumn<bool>("running");
    QTest::addColumn<int>("failing"); // a FakeBrowserBridge::Call, -1 for none
    QTest::addColumn<int>("saved");
    QTest::newRow("not connected") << false << true << -1 << 0;
    QTest::newRow("browser not running") << true << false << -1 << 0;
    QTest::newRow("tabs not read") << true << true << int(Call::Snapshot) << 0;
    // Saved before closing, so they stay saved.
    QTest::newRow("closing refused") << true << true << int(Call::Close) << 2;
}

void TestAppModel::failedRunClosesNothing()
{
    QFETCH(bool, connected);
    QFETCH(bool, running);
    QFETCH(int, failing);
    QFETCH(int, saved);
    f->settings().setValue(QStringLiteral("safariConnected"), connected);
    f->settings().setValue(QStringLiteral("sleepOptions"), offlineOptions());
    f->bridge().setRunning(running);
    f->bridge().setWindows({AppModelFixture::window(1, {"https://a.ch/1", "https://a.ch/2"})});
    if (failing >= 0)
        f->bridge().failOn(Call(failing), SafariError::permissionDenied());
    AppModel &model = f->model();
    QSignalSpy ended(&model, &AppModel::sleepRunEnded);
    model.sleepAllTabs();
    QTRY_COMPARE_WITH_TIMEOUT(ended.count(), connected && running ? 1 : 0, 30000);
    QCOMPARE(model.sleepStage().kind, SleepStage::Kind::failed);
    QVERIFY(!model.sleepStage().message.isEmpty());
    QCOMPARE(f->library().data().tabs.size(), saved);
    QVERIFY(f->bridge().closeRequests().isEmpty());
    QCOMPARE(model.liveTabs(), std::nullopt);
}

void TestAppModel::openMarksReadAndPicksTheOpener_data()
{
    QTest::addColumn<bool>("connected");
    QTest::addColumn<int>("count");
    QTest::addColumn<bool>("refuses");
    QTest::addColumn<bool>("inBrowser");
    QTest::newRow("one tab") << true << 1 << false << false;
    QTest::newRow("several, not connected") << false << 3 << false << false;
    QTest::newRow("several, connected") << true << 3 << false << true;
    // The system's handler opens them instead.
    QTest::newRow("several, browser refuses") << true << 3 << true << false;
}

void TestAppModel::openMarksReadAndPicksTheOpener()
{
    QFETCH(bool, connected);
    QFETCH(int, count);
    QFETCH(bool, refuses);
    QFETCH(bool, inBrowser);
    f->library().replace(LibraryBuilder().tabs(4));
    f->settings().setValue(QStringLiteral("safariConnected"), connected);
    if (refuses)
        f->bridge().failOn(Call::Reopen, SafariError::notRunning());
    AppModel &model = f->model();
    const QList<SavedTab> chosen = f->library().data().tabs.mid(0, count);
    QList<QUrl> urls;
    for (const SavedTab &tab : chosen)
        urls << QUrl(tab.url);
    model.open(chosen);
    QTRY_VERIFY(!model.isBusy());

    using Reopens = QList<FakeBrowserBridge::Reopen>;
    QCOMPARE(f->bridge().reopenRequests(), (inBrowser ? Reopens{{urls, true}} : Reopens()));
    QCOMPARE(f->bridge().openedWithWorkspace(), inBrowser ? QList<QUrl>{} : urls);
    for (int i = 0; i < 4; ++i)
        QCOMPARE(f->library().data().tabs.at(i).readAt, i < count ? std::optional(f->clock().now()) : std::nullopt);
}

void TestAppModel::saveTakesOnlyTheEditsAndShowsErrors()
{
    f->library().replace(LibraryBuilder().tab("Kamera").summary("Eine Kamera.").vector({1.0f, 0.0f}));
    AppModel &model = f->model();
    SavedTab edited = f->library().data().tabs.first();
    edited.note = QStringLiteral("für die Reise");
    edited.projectTags = {QStringLiteral("Lissabon")};
    edited.reminderAt = f->clock().now().addDays(2);
    edited.title = QStringLiteral("nicht übernommen");
    edited.summary.clear();
    model.save(edited);
    SavedTab expected = LibraryBuilder().tab("Kamera").summary("Eine Kamera.").build().tabs.first();
    expected.note = edited.note;
    expected.projectTags = edited.projectTags;
    expected.reminderAt = edited.reminderAt;
    QCOMPARE(f->library().data().tabs, QList<SavedTab>{expected});
    // The note is searched, so its vector is made again.
    QVERIFY(f->library().data().embeddings.isEmpty());
    QCOMPARE(m_notes->pending.size(), 1);

    // A folder in the library file's place makes every write fail.
    const QString file = f->library().store().filePath();
    QVERIFY(QFile::remove(file) && QDir().mkpath(file + QStringLiteral("/x")));
    edited.reminderAt.reset();
    model.save(edited);
    QVERIFY(model.notice() && !model.notice()->isEmpty());
    QVERIFY(m_notes->pending.isEmpty());
    QVERIFY(QDir(file).removeRecursively());
    edited.note = QStringLiteral("doch nicht");
    model.save(edited);
    QCOMPARE(model.notice(), std::nullopt);
    QCOMPARE(LibraryStore(file).load().tabs.first().note, edited.note);
}

void TestAppModel::deleteKeepsEveryOtherTab()
{
    f->library().replace(LibraryBuilder()
                             .window().tab("Allein").vector({1.0f})
                             .window().tab("Andere").note("bleibt").vector({1.0f})
                             .topic("A", {1}).topic("B", {1, 2}).hint(1, "passt"));
    AppModel &model = f->model();
    const SavedTab alone = f->library().data().tabs.at(0);
    const SavedTab other = f->library().data().tabs.at(1);
    model.setReminder({alone}, f->clock().now().addDays(1));
    model.showDetail(idText(alone.id));
    QCOMPARE(m_notes->pending.size(), 1);

    model.deleteTabById(idText(alone.id));
    const LibraryData &after = f->library().data();
    QCOMPARE(after.tabs, QList<SavedTab>{other});
    QCOMPARE(after.windows.size(), 1);
    QCOMPARE(after.windows.first().tabIds, QList<QUuid>{other.id});
    QCOMPARE(after.topics.size(), 1);
    QCOMPARE(after.topics.first().tabIds, QList<QUuid>{other.id});
    QVERIFY(after.hints.isEmpty());
    QCOMPARE(after.embeddings.keys(), QStringList{idText(other.id)});
    QCOMPARE(model.detailTab(), std::nullopt);
    QVERIFY(m_notes->pending.isEmpty());
}

void TestAppModel::notificationAnswers_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("tab"); // the id sent; empty: the saved tab's
    QTest::addColumn<Outcome>("outcome");
    QTest::newRow("open") << "OPEN" << QString() << Outcome::Opened;
    QTest::newRow("later") << "LATER" << QString() << Outcome::Later;
    QTest::newRow("dismiss") << "DISMISS" << QString() << Outcome::Dismissed;
    QTest::newRow("click") << "default" << QString() << Outcome::ShowDetail;
    // A tab deleted since the notification was posted.
    QTest::newRow("unknown tab") << "OPEN" << Reminders::uuidText(LibraryBuilder::id(99)) << Outcome::Ignored;
    QTest::newRow("malformed id") << "DISMISS" << "kein-id" << Outcome::Ignored;
}

void TestAppModel::notificationAnswers()
{
    QFETCH(QString, action);
    QFETCH(QString, tab);
    QFETCH(Outcome, outcome);
    f->library().replace(LibraryBuilder().tab("Sintra").hint(1, "passt"));
    AppModel &model = f->model();
    const SavedTab saved = f->library().data().tabs.first();
    const QByteArray before = TestSupport::readFile(f->library().store().filePath());
    NotificationAnswer answer{action, {}};
    answer.userInfo.insert(QStringLiteral("tabId"), tab.isNull() ? Reminders::uuidText(saved.id) : tab);

    QCOMPARE(NotificationAnswers::apply(model, answer, f->clock()), outcome);
    QTRY_VERIFY(!model.isBusy());
    const SavedTab after = f->library().data().tab(saved.id).value_or(SavedTab{});
    QCOMPARE(after.readAt.has_value(), outcome == Outcome::Opened);
    QCOMPARE(f->bridge().openedWithWorkspace(),
             outcome == Outcome::Opened ? QList<QUrl>{QUrl(saved.url)} : QList<QUrl>{});
    // The clock stands at 20:31: tomorrow at nine.
    QCOMPARE(after.reminderAt == QDateTime(QDate(2026, 11, 17), QTime(9, 0)), outcome == Outcome::Later);
    QCOMPARE(f->library().data().hints.value(0).dismissed, outcome == Outcome::Dismissed);
    QCOMPARE(model.detailTab() == std::optional(saved), outcome == Outcome::ShowDetail);
    if (outcome == Outcome::Ignored)
        QCOMPARE(TestSupport::readFile(f->library().store().filePath()), before);
}

void TestAppModel::missedRemindersArePostedOnce()
{
    const QDateTime eight(QDate(2026, 11, 16), QTime(8, 0));
    f->clock().set(eight);
    f->library().replace(LibraryBuilder().tab("Neun").reminder(eight.addSecs(3600))
                             .tab("Mittag").reminder(eight.addSecs(4 * 3600)));
    // The first start has no last run: nothing counts as missed.
    f->model().postMissedReminders();
    QVERIFY(m_notes->added.isEmpty());
    // Closed at 08:00, started at 10:00 and again: the 09:00 one comes once, at once.
    f->clock().set(eight.addSecs(2 * 3600));
    for (int start = 0; start < 2; ++start) {
        f->resetModel();
        f->model().postMissedReminders();
    }
    QCOMPARE(m_notes->added.size(), 1);
    QVERIFY(m_notes->added.first().identifier.contains(Reminders::uuidText(LibraryBuilder::tabId(1))));
    QCOMPARE(m_notes->added.first().fireAt, std::nullopt);
}

void TestAppModel::demoDataKeepsTheOwnLibrary()
{
    f->library().replace(LibraryBuilder().tab("Eigen").note("meins"));
    const QByteArray own = TestSupport::readFile(f->library().store().filePath());
    AppModel &model = f->model();
    QSignalSpy loaded(&model, &AppModel::demoDataLoaded);
    model.loadDemoData();
    QVERIFY(loaded.wait(60000));
    QVERIFY(!f->library().data().tab(LibraryBuilder::tabId(1)));
    // Loaded twice, what is kept is still the user's library, not the first demo.
    model.loadDemoData();
    QVERIFY(loaded.wait(60000));
    QVERIFY(model.demoMode());
    model.setDemoMode(false);
    QCOMPARE(TestSupport::readFile(f->library().store().filePath()), own);
    QVERIFY(!model.demoMode());
}

void TestAppModel::clearingKeepsACopyOfTheLibrary()
{
    // The second write of the day already made the day's copy (of the first),
    // so only the copy taken before clearing holds what was cleared.
    f->library().replace(LibraryBuilder().tab("Erster Stand"));
    f->library().replace(LibraryBuilder().tab("Eigen").note("meins"));
    const QByteArray cleared = TestSupport::readFile(f->library().store().filePath());
    f->model().clearLibrary();
    QVERIFY(f->library().data().tabs.isEmpty());
    const LibraryBackups backups(f->library().store().filePath(), f->clock());
    QStringList copies;
    for (const LibraryBackup &copy : backups.list())
        copies.append(QString::fromUtf8(TestSupport::readFile(copy.path)));
    QVERIFY(copies.contains(QString::fromUtf8(cleared)));
}

void TestAppModel::launchAtLoginWritesTheAutostartEntry()
{
    const LaunchAtLogin login(f->path("autostart"));
    f->model().setLaunchAtLogin(true);
    QVERIFY(TestSupport::readFile(login.entryPath()).contains("\nExec="));
    f->resetModel();
    QVERIFY(f->model().launchAtLogin()); // the next start finds the entry
    f->model().setLaunchAtLogin(false);
    QVERIFY(!QFileInfo::exists(login.entryPath()));
    // Where the entry cannot be written, the switch stays off and says why.
    QVERIFY(QDir(f->path("autostart")).removeRecursively());
    QVERIFY(TestSupport::writeFile(f->path("autostart"), "im Weg"));
    f->model().setLaunchAtLogin(true);
    QVERIFY(!f->model().launchAtLogin());
    QVERIFY(f->model().notice().has_value());
}

PELLMORA_TEST_GUILESS_MAIN(TestAppModel)
#include "TestAppModel.moc"
