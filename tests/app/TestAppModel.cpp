// The app model's state and its operations on the browser and on single tabs:
// settings, orders of the lists, sleep runs, live counts, opening, editing,
// reminders and deleting.
#include "AppModelFixture.h"

#include "Fmt.h"
#include "LibraryData.h"
#include "Reminders.h"
#include "SafariError.h"
#include "SleepOptions.h"
#include "SleepRun.h"
#include "TabListModel.h"
#include "PlatformWords.h"

#include <QDir>
#include <QFile>
#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

#include <memory>
#include "TestRegistry.h"

namespace {

const QString kConnectFirst = PlatformWords::connectFirst();

QStringList titles(const QList<SavedTab> &tabs)
{
    QStringList out;
    for (const SavedTab &tab : tabs)
        out << tab.title;
    return out;
}

QDateTime at(int day, int hour, int minute = 0)
{
    return QDateTime(QDate(2026, 11, day), QTime(hour, minute));
}

// Records every stage the model passes through.
struct StageLog
{
    explicit StageLog(AppModel &model)
    {
        QObject::connect(&model, &AppModel::sleepStageChanged, &context,
                         [this, &model] { kinds.append(model.sleepStage().kind); });
    }
    QObject context;
    QList<SleepStage::Kind> kinds;
};

// The fake browser, except that closing fails.
class CloseFailsBridge final : public BrowserBridge
{
public:
    CloseFailsBridge(FakeBrowserBridge &inner, SafariError error) : m_inner(inner), m_error(std::move(error)) {}
    bool isSafariRunning() const override { return m_inner.isSafariRunning(); }
    SafariResult<QList<SafariWindow>> snapshotWindows() override { return m_inner.snapshotWindows(); }
    SafariResult<SafariTabCount> countTabs() override { return m_inner.countTabs(); }
    SafariResult<int> closeTabs(const QSet<QString> &, const QStringList &) override { return m_error; }
    SafariStatus reopen(const QList<QUrl> &urls, bool newWindow) override { return m_inner.reopen(urls, newWindow); }
    void openWithWorkspace(const QList<QUrl> &urls) override { m_inner.openWithWorkspace(urls); }

private:
    FakeBrowserBridge &m_inner;
    SafariError m_error;
};

} // namespace

class TestAppModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void settingsAreReadAtStart_data();
    void settingsAreReadAtStart();
    void settingsAreWrittenOnEveryChange();
    void startsOnTheFirstTopic();

    void tabsForSelection_data();
    void tabsForSelection();
    void blankQueryShowsNothing();
    void visibleTabsModelFollowsTheSelection();

    void demoRunPassesItsStagesInOrder();
    void secondRunWhileRunningIsRefused();
    void preconditionsFailWithoutTouchingTheLibrary_data();
    void preconditionsFailWithoutTouchingTheLibrary();
    void failedSnapshotEndsWithItsMessage();
    void emptySnapshotFails();
    void realRunClosesTabsAndCountsDown_data();
    void realRunClosesTabsAndCountsDown();
    void failedCloseKeepsTheSavedTabs();
    void cancelShowsIdleAndDropsLateStages();

    void connectSafari();
    void connectSafariWhenNotRunning();
    void extensionConnectsWithoutAClick();
    void refreshLiveCount();

    void openUsesTheRightOpener_data();
    void openUsesTheRightOpener();
    void openWithOnlyBadAddressesMarksNothing();
    void saveTakesOverTheEdits();
    void saveFailureShowsUntilAWriteSucceeds();
    void deleteRemovesEmptyWindowAndTopic();
    void setReminderAndLater();
    void dismissHint();

private:
    std::unique_ptr<AppModelFixture> f;
    void fillOrderLibrary();
};

void TestAppModel::init()
{
    f = std::make_unique<AppModelFixture>();
}

void TestAppModel::cleanup()
{
    f.reset();
}

void TestAppModel::settingsAreReadAtStart_data()
{
    QTest::addColumn<QVariant>("storedOptions");
    QTest::addColumn<bool>("expectDefaults");

    SleepOptions custom;
    custom.groupByWindow = false;
    custom.keepPinned = true;
    custom.pinnedDomains = {QStringLiteral("mail.example.ch")};
    QTest::newRow("missing") << QVariant() << true;
    QTest::newRow("garbage") << QVariant(QByteArray("{nicht json")) << true;
    QTest::newRow("key missing") << QVariant(QByteArray(R"({"groupByWindow":false})")) << true;
    QTest::newRow("stored") << QVariant(custom.encode()) << false;
}

void TestAppModel::settingsAreReadAtStart()
{
    QFETCH(QVariant, storedOptions);
    QFETCH(bool, expectDefaults);
    if (storedOptions.isValid())
        f->settings().setValue(QStringLiteral("sleepOptions"), storedOptions);
    f->settings().setValue(QStringLiteral("demoMode"), true);

    AppModel &model = f->model();
    if (expectDefaults) {
        QCOMPARE(model.options(), SleepOptions());
    } else {
        QCOMPARE(model.options().groupByWindow, false);
        QCOMPARE(model.options().pinnedDomains, QStringList{QStringLiteral("mail.example.ch")});
    }
    QCOMPARE(model.demoMode(), true);
    QCOMPARE(model.safariConnected(), false); // missing bool reads as false
    QCOMPARE(model.sleepStage(), SleepStage::idle());
    QCOMPARE(model.selection(), SidebarSelection::all());
}

void TestAppModel::settingsAreWrittenOnEveryChange()
{
    AppModel &model = f->model();
    QSignalSpy optionsSpy(&model, &AppModel::optionsChanged);
    model.setProperty("keepPinned", true);
    model.setProperty("pinnedDomains", QStringList{QStringLiteral("a.ch"), QStringLiteral("b.ch")});
    model.setSafariConnected(true);
    model.setDemoMode(true);
    QCOMPARE(optionsSpy.count(), 2);

    f->settings().sync();
    QSettings reread(f->path(QStringLiteral("settings.ini")), QSettings::IniFormat);
    const auto options = SleepOptions::decode(reread.value(QStringLiteral("sleepOptions")).toByteArray());
    QVERIFY(options.ok());
    QCOMPARE(options->keepPinned, true);
    QCOMPARE(options->pinnedDomains, (QStringList{QStringLiteral("a.ch"), QStringLiteral("b.ch")}));
    QCOMPARE(reread.value(QStringLiteral("safariConnected")).toBool(), true);
    QCOMPARE(reread.value(QStringLiteral("demoMode")).toBool(), true);

    // A model started afterwards sees the same state.
    f->resetModel();
    QCOMPARE(f->model().options(), *options);
    QCOMPARE(f->model().safariConnected(), true);
}

void TestAppModel::startsOnTheFirstTopic()
{
    LibraryData data;
    const Topic first{QUuid::createUuid(), QStringLiteral("Reisen"), QStringLiteral("blue"), {}, false};
    const Topic second{QUuid::createUuid(), QStringLiteral("Büro"), QStringLiteral("green"), {}, false};
    data.topics = {first, second};
    f->library().replace(data);
    QCOMPARE(f->model().selection(), SidebarSelection::topic(first.id));
    QCOMPARE(f->model().selectionKey(), QStringLiteral("topic:") + idText(first.id));
}

void TestAppModel::fillOrderLibrary()
{
    LibraryData data;
    SavedTab old1 = AppModelFixture::tab(QStringLiteral("Alt 1"), at(10, 9), 1);
    SavedTab old2 = AppModelFixture::tab(QStringLiteral("Alt 2"), at(10, 9), 2);
    SavedTab new3 = AppModelFixture::tab(QStringLiteral("Neu 3"), at(12, 9), 3);
    SavedTab new1 = AppModelFixture::tab(QStringLiteral("Neu 1"), at(12, 9), 1);
    old2.note = QStringLiteral("wichtig");
    new3.note = QStringLiteral("lesen");
    old1.reminderAt = at(20, 9);
    new1.reminderAt = at(18, 9);
    new3.reminderAt = at(25, 9);
    data.tabs = {old2, new3, old1, new1};

    const SavedWindow window{QUuid::createUuid(), at(12, 9), QStringLiteral("Fenster 1"), {new3.id, new1.id, old2.id}};
    data.windows = {window};
    const Topic topic{QUuid::createUuid(), QStringLiteral("Thema"), QStringLiteral("blue"), {old1.id, new1.id}, false};
    data.topics = {topic};
    // Hints keep their own order; a dismissed one and one of a lost tab are skipped.
    data.hints = {{QUuid::createUuid(), old1.id, QStringLiteral("a"), at(12, 10), false},
                  {QUuid::createUuid(), new3.id, QStringLiteral("b"), at(12, 10), true},
                  {QUuid::createUuid(), QUuid::createUuid(), QStringLiteral("c"), at(12, 10), false},
                  {QUuid::createUuid(), old2.id, QStringLiteral("d"), at(12, 10), false}};
    f->library().replace(data);
}

void TestAppModel::tabsForSelection_data()
{
    QTest::addColumn<QString>("which");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("all: newest run first, then by position")
        << "all" << QStringList{"Neu 1", "Neu 3", "Alt 1", "Alt 2"};
    QTest::newRow("notes") << "notes" << QStringList{"Neu 3", "Alt 2"};
    QTest::newRow("reminders: soonest first") << "reminders" << QStringList{"Neu 1", "Alt 1", "Neu 3"};
    QTest::newRow("hints: in hint order") << "hints" << QStringList{"Alt 1", "Alt 2"};
    QTest::newRow("window") << "window" << QStringList{"Neu 1", "Neu 3", "Alt 2"};
    QTest::newRow("topic") << "topic" << QStringList{"Neu 1", "Alt 1"};
    QTest::newRow("unknown topic") << "unknown" << QStringList{};
}

void TestAppModel::tabsForSelection()
{
    QFETCH(QString, which);
    QFETCH(QStringList, expected);
    fillOrderLibrary();
    AppModel &model = f->model();
    const LibraryData &data = f->library().data();
    SidebarSelection selection;
    if (which == QLatin1String("window"))
        selection = SidebarSelection::window(data.windows.first().id);
    else if (which == QLatin1String("topic"))
        selection = SidebarSelection::topic(data.topics.first().id);
    else if (which == QLatin1String("unknown"))
        selection = SidebarSelection::topic(QUuid::createUuid());
    else
        selection = *SidebarSelection::fromKey(which);
    QCOMPARE(titles(model.tabsFor(selection)), expected);

    model.setSelection(selection);
    QCOMPARE(titles(model.visibleTabs()), expected);
}

void TestAppModel::blankQueryShowsNothing()
{
    fillOrderLibrary();
    AppModel &model = f->model();
    model.setSelection(SidebarSelection::all());
    QCOMPARE(model.visibleTabs().size(), 4);
    model.setQuery(QStringLiteral(" \t "));
    QVERIFY(!model.isSearchPending());
    QVERIFY(model.searchResults().isEmpty());
    QVERIFY(model.visibleTabs().isEmpty());
    model.setQuery(QString());
    QCOMPARE(model.visibleTabs().size(), 4);
}

void TestAppModel::visibleTabsModelFollowsTheSelection()
{
    fillOrderLibrary();
    AppModel &model = f->model();
    QAbstractItemModelTester tester(model.visibleTabsModel(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    QSignalSpy resets(model.visibleTabsModel(), &QAbstractItemModel::modelReset);

    model.setSelection(SidebarSelection::notes());
    QCOMPARE(model.visibleTabsModel()->rowCount(), 2);
    const QModelIndex first = model.visibleTabsModel()->index(0);
    QCOMPARE(first.data(TabListModel::TitleRole).toString(), QStringLiteral("Neu 3"));
    QCOMPARE(first.data(TabListModel::NoteRole).toString(), QStringLiteral("lesen"));
    QCOMPARE(first.data(TabListModel::ReminderAtRole).toDateTime(), at(25, 9));
    QCOMPARE(resets.count(), 1);

    // Selecting the same again changes nothing.
    model.setSelectionKey(QStringLiteral("notes"));
    QCOMPARE(resets.count(), 1);

    // A library change reaches the list without touching the selection.
    const QUuid id = f->library().data().tabs.first().id; // "Alt 2"
    f->library().updateTab(id, [](SavedTab &t) { t.note.clear(); });
    QCOMPARE(model.visibleTabsModel()->rowCount(), 1);
    QCOMPARE(model.visibleTabsModel()->ids(), QStringList{idText(f->library().data().tabs.at(1).id)});
}

void TestAppModel::demoRunPassesItsStagesInOrder()
{
    f->settings().setValue(QStringLiteral("demoMode"), true);
    AppModel &model = f->model();
    StageLog log(model);
    QSignalSpy ended(&model, &AppModel::sleepRunEnded);

    model.sleepAllTabs();
    QCOMPARE(model.sleepStage().kind, SleepStage::Kind::reading);
    QVERIFY(ended.wait(60000));

    // Demo runs never fetch page text and never close tabs.
    QVERIFY(!log.kinds.contains(SleepStage::Kind::fetching));
    QVERIFY(!log.kinds.contains(SleepStage::Kind::closing));
    QCOMPARE(log.kinds.first(), SleepStage::Kind::reading);
    QCOMPARE(log.kinds.last(), SleepStage::Kind::done);
    const qsizetype summarizing = log.kinds.indexOf(SleepStage::Kind::summarizing);
    const qsizetype grouping = log.kinds.indexOf(SleepStage::Kind::grouping);
    QVERIFY(summarizing > 0);
    QVERIFY(grouping > summarizing);
    QCOMPARE(log.kinds.lastIndexOf(SleepStage::Kind::summarizing) < grouping, true);

    const SleepStats stats = model.sleepStage().stats;
    QCOMPARE(stats.tabs, 52);
    QCOMPARE(stats.newTabs, 52);
    QCOMPARE(stats.closed, 0);
    QCOMPARE(stats.groups, 3);
    QVERIFY(stats.topics > 0);
    QVERIFY(f->bridge().closeRequests().isEmpty());
    QCOMPARE(model.liveTabs(), std::nullopt); // a demo run leaves the count alone
    QCOMPARE(f->library().data().tabs.size(), 52);
    QCOMPARE(model.selection(), SidebarSelection::topic(f->library().data().topics.first().id));

    // Done is final: a new run starts at once, and saves nothing twice.
    model.sleepAllTabs();
    QCOMPARE(model.sleepStage().kind, SleepStage::Kind::reading);
    QVERIFY(ended.wait(60000));
    QCOMPARE(model.sleepStage().stats.newTabs, 0);
    QCOMPARE(f->library().data().tabs.size(), 52);
}

void TestAppModel::secondRunWhileRunningIsRefused()
{
    f->settings().setValue(QStringLiteral("demoMode"), true);
    AppModel &model = f->model();
    StageLog log(model);
    QSignalSpy ended(&model, &AppModel::sleepRunEnded);
    int tries = 0;
    connect(&model, &AppModel::sleepStageChanged, this, [&] {
        if (model.sleepStage().kind == SleepStage::Kind::summarizing && tries++ == 0) {
            model.sleepAllTabs();
            model.sleepAllTabs();
        }
    });
    model.sleepAllTabs();
    QVERIFY(ended.wait(60000));
    QCOMPARE(tries > 0, true);
    QCOMPARE(ended.count(), 1);
    QCOMPARE(log.kinds.count(SleepStage::Kind::reading), 1);
    QCOMPARE(log.kinds.count(SleepStage::Kind::done), 1);
}

void TestAppModel::preconditionsFailWithoutTouchingTheLibrary_data()
{
    QTest::addColumn<bool>("connected");
    QTest::addColumn<bool>("running");
    QTest::addColumn<QString>("message");
    QTest::newRow("not connected") << false << true << kConnectFirst;
    QTest::newRow("not running") << true << false << SafariError::notRunning().errorDescription();
}

void TestAppModel::preconditionsFailWithoutTouchingTheLibrary()
{
    QFETCH(bool, connected);
    QFETCH(bool, running);
    QFETCH(QString, message);
    f->settings().setValue(QStringLiteral("safariConnected"), connected);
    f->bridge().setRunning(running);
    f->bridge().setWindows({AppModelFixture::window(1, {QStringLiteral("https://a.ch/1")})});
    AppModel &model = f->model();
    QSignalSpy ended(&model, &AppModel::sleepRunEnded);

    model.sleepAllTabs();
    QCOMPARE(model.sleepStage(), SleepStage::failed(message));
    QCOMPARE(model.sleepStage().label(), message);
    QVERIFY(!model.isBusy());
    QCOMPARE(ended.count(), 0);
    QVERIFY(f->library().data().tabs.isEmpty());
    QCOMPARE(f->bridge().windows().first().tabs.size(), 1);

    // From failed a precondition fails again straight away.
    model.sleepAllTabs();
    QCOMPARE(model.sleepStage(), SleepStage::failed(message));
}

void TestAppModel::failedSnapshotEndsWithItsMessage()
{
    f->settings().setValue(QStringLiteral("safariConnected"), true);
    f->bridge().setWindows({AppModelFixture::window(1, {QStringLiteral("https://a.ch/1")})});
    const SafariError error = SafariError::permissionDenied();
    f->bridge().failWith(error);
    AppModel &model = f->model();
    QSignalSpy ended(&model, &AppModel::sleepRunEnded);
    model.sleepAllTabs();
    QVERIFY(ended.wait(30000));
    QCOMPARE(model.sleepStage(), SleepStage::failed(error.errorDescription()));
    QVERIFY(f->library().data().tabs.isEmpty());
}

void TestAppModel::emptySnapshotFails()
{
    f->settings().setValue(QStringLiteral("safariConnected"), true);
    f->bridge().setWindows({AppModelFixture::window(1, {}), AppModelFixture::window(2, {})});
    AppModel &model = f->model();
    QSignalSpy libraryChanges(&model, &AppModel::libraryChanged);
    QSignalSpy ended(&model, &AppModel::sleepRunEnded);
    model.sleepAllTabs();
    QVERIFY(ended.wait(30000));
    QCOMPARE(model.sleepStage(), SleepStage::failed(PlatformWords::emptyBrowser({})));
    QCOMPARE(libraryChanges.count(), 0);
}

void TestAppModel::realRunClosesTabsAndCountsDown_data()
{
    QTest::addColumn<QVariant>("liveBefore");
    QTest::addColumn<int>("liveAfter");
    QTest::addColumn<bool>("groupByWindow");
    QTest::addColumn<int>("groups");
    // 8 tabs, 3 of them on a pinned domain: 5 are closed.
    QTest::newRow("never counted") << QVariant() << 3 << true << 2;
    QTest::newRow("counted more") << QVariant(10) << 5 << false << 1;
    QTest::newRow("never below zero") << QVariant(2) << 0 << true << 2;
}

void TestAppModel::realRunClosesTabsAndCountsDown()
{
    QFETCH(QVariant, liveBefore);
    QFETCH(int, liveAfter);
    QFETCH(bool, groupByWindow);
    QFETCH(int, groups);

    f->settings().setValue(QStringLiteral("safariConnected"), true);
    SleepOptions options;
    options.saveContent = false; // no page fetches in this test
    options.sortByTopic = false;
    options.groupByWindow = groupByWindow;
    options.keepPinned = true;
    options.pinnedDomains = {QStringLiteral("mail.example.ch")};
    f->settings().setValue(QStringLiteral("sleepOptions"), options.encode());
    const QString pin = QStringLiteral("https://mail.example.ch/");
    f->bridge().setWindows({AppModelFixture::window(1, {QStringLiteral("https://a.ch/1"), pin + QStringLiteral("1"),
                                                        QStringLiteral("https://a.ch/2"), QStringLiteral("https://a.ch/3")}),
                            AppModelFixture::window(2, {pin + QStringLiteral("2"), QStringLiteral("https://b.ch/1"),
                                                        pin + QStringLiteral("3"), QStringLiteral("https://b.ch/2")})});
    const QList<SafariWindow> windows = f->bridge().windows();
    AppModel &fresh = f->model();
    if (liveBefore.isValid()) {
        // The count the popover saw last, taken from another browser state.
        SafariWindow other = AppModelFixture::window(9, {});
        for (int i = 1; i <= liveBefore.toInt(); ++i)
            other.tabs.append({QStringLiteral("x"), QStringLiteral("https://x.ch/%1").arg(i), i});
        f->bridge().setWindows({other});
        fresh.refreshLiveCount();
        QTRY_COMPARE(fresh.liveTabs(), std::optional<int>(liveBefore.toInt()));
        f->bridge().setWindows(windows);
    }
    StageLog log(fresh);
    QSignalSpy ended(&fresh, &AppModel::sleepRunEnded);

    fresh.sleepAllTabs();
    QVERIFY(ended.wait(60000));
    QCOMPARE(fresh.sleepStage().kind, SleepStage::Kind::done);
    QVERIFY(!log.kinds.contains(SleepStage::Kind::fetching));
    QVERIFY(log.kinds.contains(SleepStage::Kind::closing));
    QCOMPARE(fresh.sleepStage().stats.tabs, 8);
    QCOMPARE(fresh.sleepStage().stats.closed, 5);
    QCOMPARE(fresh.sleepStage().stats.groups, groups);
    QCOMPARE(fresh.liveTabs(), std::optional<int>(liveAfter));
    QCOMPARE(f->bridge().keepRequests().size(), 1);
    QCOMPARE(f->library().data().tabs.size(), 8);
    QCOMPARE(f->library().data().windows.size(), groupByWindow ? 2 : 1);
}

void TestAppModel::failedCloseKeepsTheSavedTabs()
{
    f->settings().setValue(QStringLiteral("safariConnected"), true);
    SleepOptions options;
    options.saveContent = false;
    f->settings().setValue(QStringLiteral("sleepOptions"), options.encode());
    f->bridge().setWindows({AppModelFixture::window(1, {QStringLiteral("https://a.ch/1"), QStringLiteral("https://a.ch/2")})});
    const SafariError error = SafariError::scriptFailed(-1728, QStringLiteral("kaputt"));
    f->useBridge(std::make_shared<CloseFailsBridge>(f->bridge(), error));
    AppModel &model = f->model();
    StageLog log(model);
    QSignalSpy ended(&model, &AppModel::sleepRunEnded);
    model.sleepAllTabs();
    QVERIFY(ended.wait(60000));
    QVERIFY(log.kinds.contains(SleepStage::Kind::closing));
    QCOMPARE(model.sleepStage(), SleepStage::failed(error.errorDescription()));
    QCOMPARE(f->library().data().tabs.size(), 2);
    QCOMPARE(model.liveTabs(), std::nullopt);
}

void TestAppModel::cancelShowsIdleAndDropsLateStages()
{
    f->settings().setValue(QStringLiteral("demoMode"), true);
    AppModel &model = f->model();
    QSignalSpy ended(&model, &AppModel::sleepRunEnded);
    QObject context;
    connect(&model, &AppModel::sleepStageChanged, &context, [&] {
        if (model.sleepStage().kind == SleepStage::Kind::summarizing) {
            model.cancelSleep();
            QCOMPARE(model.sleepStage(), SleepStage::idle());
        }
    });
    model.sleepAllTabs();
    QVERIFY(ended.wait(60000));
    QObject::disconnect(&model, nullptr, &context, nullptr);
    QCOMPARE(model.sleepStage(), SleepStage::idle());
    // Whatever was written stays whole.
    QCOMPARE(f->library().data().tabs.size(), 52);
    model.sleepAllTabs();
    QCOMPARE(model.sleepStage().kind, SleepStage::Kind::reading);
    QVERIFY(ended.wait(60000));
    QCOMPARE(model.sleepStage().kind, SleepStage::Kind::done);
}

void TestAppModel::connectSafari()
{
    f->settings().setValue(QStringLiteral("demoMode"), true);
    f->bridge().setWindows({AppModelFixture::window(1, {QStringLiteral("https://a.ch/1"), QStringLiteral("https://a.ch/2")}),
                            AppModelFixture::window(2, {QStringLiteral("https://b.ch/1")})});
    AppModel &model = f->model();
    model.connectSafari();
    QTRY_VERIFY(model.safariConnected());
    QCOMPARE(model.liveTabs(), std::optional(3));
    QCOMPARE(model.liveWindows(), std::optional(2));
    QCOMPARE(model.demoMode(), false);
    QCOMPARE(model.safariMessage(), std::nullopt);
    f->settings().sync();
    QCOMPARE(f->settings().value(QStringLiteral("safariConnected")).toBool(), true);
    QCOMPARE(f->settings().value(QStringLiteral("demoMode")).toBool(), false);
}

void TestAppModel::connectSafariWhenNotRunning()
{
    f->bridge().setRunning(false);
    AppModel &model = f->model();
    model.connectSafari();
    QCOMPARE(model.safariMessage(), std::optional(SafariError::notRunning().errorDescription()));
    QCOMPARE(model.safariConnected(), false);

    // A refusing browser leaves the connection off with its message.
    f->bridge().setRunning(true);
    f->bridge().failWith(SafariError::permissionDenied());
    model.connectSafari();
    QCOMPARE(model.safariMessage(), std::nullopt); // cleared at once
    QTRY_COMPARE(model.safariMessage(), std::optional(SafariError::permissionDenied().errorDescription()));
    QCOMPARE(model.safariConnected(), false);
}

void TestAppModel::extensionConnectsWithoutAClick()
{
    // A click from an earlier session does not make a browser connected.
    f->settings().setValue(QStringLiteral("safariConnected"), true);
    f->bridge().setExtensionBrowsers({});
    f->bridge().setWindows({AppModelFixture::window(1, {QStringLiteral("https://a.ch/1"), QStringLiteral("https://a.ch/2")})});
    AppModel &model = f->model();
    QCOMPARE(model.safariConnected(), false);

    // Clicking before the extension is there shows how to install it.
    model.connectSafari();
    QCOMPARE(model.safariMessage(), std::optional(PlatformWords::connectSteps(AppModel::extensionFolder())));
    QCOMPARE(model.safariConnected(), false);

    QSignalSpy words(&model, &AppModel::wordsChanged);
    f->bridge().setExtensionBrowsers({QStringLiteral("firefox")});
    QTRY_VERIFY(model.safariConnected());
    QTRY_COMPARE(model.liveTabs(), std::optional(2));
    QCOMPARE(model.safariMessage(), std::nullopt);
    QVERIFY(!words.isEmpty());
    f->settings().sync();
    QCOMPARE(f->settings().value(QStringLiteral("safariConnected")).toBool(), true);

    f->bridge().setExtensionBrowsers({});
    QTRY_VERIFY(!model.safariConnected());
    QCOMPARE(model.liveTabs(), std::nullopt);
}

void TestAppModel::refreshLiveCount()
{
    f->bridge().setWindows({AppModelFixture::window(1, {QStringLiteral("https://a.ch/1")})});
    AppModel &model = f->model();
    model.refreshLiveCount(); // not connected: nothing
    QVERIFY(!model.isBusy());
    QCOMPARE(model.liveTabs(), std::nullopt);

    model.setSafariConnected(true);
    model.refreshLiveCount();
    QTRY_COMPARE(model.liveTabs(), std::optional(1));

    f->bridge().setRunning(false);
    model.refreshLiveCount();
    QCOMPARE(model.liveTabs(), std::nullopt);
    QCOMPARE(model.liveWindows(), std::nullopt);
    QCOMPARE(model.safariMessage(), std::optional(PlatformWords::browserNotOpen()));
}

void TestAppModel::openUsesTheRightOpener_data()
{
    QTest::addColumn<bool>("connected");
    QTest::addColumn<int>("count");
    QTest::addColumn<bool>("browserFails");
    QTest::addColumn<bool>("expectReopen");
    QTest::addColumn<bool>("expectWorkspace");
    QTest::newRow("one tab, connected") << true << 1 << false << false << true;
    QTest::newRow("several, not connected") << false << 3 << false << false << true;
    QTest::newRow("several, connected") << true << 3 << false << true << false;
    // The fake records only the reopen requests it carried out.
    QTest::newRow("several, browser fails") << true << 3 << true << false << true;
}

void TestAppModel::openUsesTheRightOpener()
{
    QFETCH(bool, connected);
    QFETCH(int, count);
    QFETCH(bool, browserFails);
    QFETCH(bool, expectReopen);
    QFETCH(bool, expectWorkspace);

    LibraryData data;
    for (int i = 1; i <= 4; ++i)
        data.tabs.append(AppModelFixture::tab(QStringLiteral("Tab %1").arg(i), at(12, 9), i));
    f->library().replace(data);
    f->settings().setValue(QStringLiteral("safariConnected"), connected);
    if (browserFails)
        f->bridge().failWith(SafariError::notRunning());
    AppModel &model = f->model();

    const QList<SavedTab> chosen = f->library().data().tabs.mid(0, count);
    QList<QUrl> urls;
    for (const SavedTab &tab : chosen)
        urls.append(QUrl(tab.url));
    model.open(chosen);
    QTRY_VERIFY(!model.isBusy());

    if (expectReopen)
        QCOMPARE(f->bridge().reopenRequests(), (QList<FakeBrowserBridge::Reopen>{{urls, true}}));
    else
        QVERIFY(f->bridge().reopenRequests().isEmpty());
    QCOMPARE(f->bridge().openedWithWorkspace(), expectWorkspace ? urls : QList<QUrl>{});
    for (int i = 0; i < 4; ++i) {
        const SavedTab &tab = f->library().data().tabs.at(i);
        QCOMPARE(tab.readAt.has_value(), i < count);
        if (tab.readAt)
            QCOMPARE(*tab.readAt, f->clock().now());
    }
}

void TestAppModel::openWithOnlyBadAddressesMarksNothing()
{
    LibraryData data;
    data.tabs.append(AppModelFixture::tab(QStringLiteral("Kaputt"), at(12, 9), 1, QStringLiteral("http://[nicht")));
    f->library().replace(data);
    AppModel &model = f->model();
    QSignalSpy changes(&model, &AppModel::libraryChanged);
    model.open(f->library().data().tabs);
    QCOMPARE(changes.count(), 0);
    QVERIFY(!f->library().data().tabs.first().isRead());
    QVERIFY(f->bridge().openedWithWorkspace().isEmpty());
}

void TestAppModel::saveTakesOverTheEdits()
{
    LibraryData data;
    SavedTab tab = AppModelFixture::tab(QStringLiteral("Kamera"), at(12, 9), 1);
    tab.summary = QStringLiteral("Eine Kamera.");
    data.tabs.append(tab);
    data.embeddings.insert(idText(tab.id), Vector{1.0f, 0.0f});
    f->library().replace(data);
    AppModel &model = f->model();

    SavedTab edited = tab;
    edited.note = QStringLiteral("für die Reise");
    edited.reminderAt = at(20, 9);
    edited.projectTags = {QStringLiteral("Lissabon")};
    edited.title = QStringLiteral("nicht übernommen");
    edited.summary.clear();
    model.save(edited);

    const SavedTab stored = *f->library().data().tab(tab.id);
    QCOMPARE(stored.note, edited.note);
    QCOMPARE(stored.reminderAt, edited.reminderAt);
    QCOMPARE(stored.projectTags, edited.projectTags);
    QCOMPARE(stored.title, QStringLiteral("Kamera"));
    QCOMPARE(stored.summary, QStringLiteral("Eine Kamera."));
    QVERIFY(!f->library().data().embeddings.contains(idText(tab.id)));

    // The same through the QML entry point: a null date removes the reminder.
    model.saveEdits(idText(tab.id), QStringLiteral("neu"), QVariant(), {});
    QCOMPARE(f->library().data().tab(tab.id)->reminderAt, std::nullopt);
    QCOMPARE(f->library().data().tab(tab.id)->note, QStringLiteral("neu"));
}

void TestAppModel::saveFailureShowsUntilAWriteSucceeds()
{
    LibraryData data;
    const SavedTab tab = AppModelFixture::tab(QStringLiteral("Kamera"), at(12, 9), 1);
    data.tabs.append(tab);
    f->library().replace(data);
    AppModel &model = f->model();
    // A folder in the library file's place makes every write fail.
    const QString file = f->path(QStringLiteral("library.json"));
    QVERIFY(QFile::remove(file));
    QVERIFY(QDir().mkpath(file + QStringLiteral("/x")));

    SavedTab edited = tab;
    edited.note = QStringLiteral("für die Reise");
    model.save(edited);
    QVERIFY(!f->library().lastError().isEmpty());
    QCOMPARE(model.notice(), std::optional(f->library().lastError()));

    QVERIFY(QDir(file).removeRecursively());
    edited.note = QStringLiteral("doch nicht");
    model.save(edited);
    QCOMPARE(model.notice(), std::nullopt);
}

void TestAppModel::deleteRemovesEmptyWindowAndTopic()
{
    LibraryData data;
    const SavedTab alone = AppModelFixture::tab(QStringLiteral("Allein"), at(12, 9), 1);
    const SavedTab other = AppModelFixture::tab(QStringLiteral("Andere"), at(12, 9), 2);
    data.tabs = {alone, other};
    data.windows = {{QUuid::createUuid(), at(12, 9), QStringLiteral("Fenster 1"), {alone.id}},
                    {QUuid::createUuid(), at(12, 9), QStringLiteral("Fenster 2"), {other.id}}};
    data.topics = {{QUuid::createUuid(), QStringLiteral("A"), QStringLiteral("blue"), {alone.id}, false},
                   {QUuid::createUuid(), QStringLiteral("B"), QStringLiteral("green"), {alone.id, other.id}, false}};
    data.hints = {{QUuid::createUuid(), alone.id, QStringLiteral("passt"), at(12, 10), false}};
    data.embeddings.insert(idText(alone.id), Vector{1.0f});
    data.embeddings.insert(idText(other.id), Vector{1.0f});
    f->library().replace(data);
    AppModel &model = f->model();
    model.showDetail(idText(alone.id));
    QVERIFY(model.detailTab());

    model.deleteTab(alone);
    const LibraryData &after = f->library().data();
    QCOMPARE(after.tabs.size(), 1);
    QCOMPARE(after.windows.size(), 1);
    QCOMPARE(after.windows.first().title, QStringLiteral("Fenster 2"));
    QCOMPARE(after.topics.size(), 1);
    QCOMPARE(after.topics.first().tabIds, QList<QUuid>{other.id});
    QVERIFY(after.hints.isEmpty());
    QCOMPARE(after.embeddings.keys(), QStringList{idText(other.id)});
    QCOMPARE(model.detailTab(), std::nullopt);
}

void TestAppModel::setReminderAndLater()
{
    LibraryData data;
    data.tabs = {AppModelFixture::tab(QStringLiteral("Eins"), at(12, 9), 1),
                 AppModelFixture::tab(QStringLiteral("Zwei"), at(12, 9), 2),
                 AppModelFixture::tab(QStringLiteral("Drei"), at(12, 9), 3)};
    f->library().replace(data);
    AppModel &model = f->model();
    model.setSelection(SidebarSelection::reminders());

    // "Later" from a notification: tomorrow 09:00.
    const QDateTime later = Reminders::laterDate(f->clock().now());
    model.setReminderFor({idText(data.tabs.at(2).id), idText(data.tabs.at(0).id)}, later);
    QCOMPARE(model.notice(), std::optional(QStringLiteral("Erinnerung gesetzt: ") + Fmt::full(later)));
    QCOMPARE(model.notice(), std::optional(QStringLiteral("Erinnerung gesetzt: Dienstag, 17.11.2026, 09:00")));
    // Same time: library order.
    QCOMPARE(titles(model.visibleTabs()), (QStringList{QStringLiteral("Eins"), QStringLiteral("Drei")}));
    QCOMPARE(f->library().data().tabs.at(1).reminderAt, std::nullopt);

    model.setProperty("notice", QVariant());
    QCOMPARE(model.notice(), std::nullopt);
}

void TestAppModel::dismissHint()
{
    LibraryData data;
    const SavedTab tab = AppModelFixture::tab(QStringLiteral("Eins"), at(12, 9), 1);
    data.tabs = {tab};
    data.hints = {{QUuid::createUuid(), tab.id, QStringLiteral("a"), at(12, 10), false},
                  {QUuid::createUuid(), tab.id, QStringLiteral("b"), at(12, 11), false}};
    f->library().replace(data);
    AppModel &model = f->model();
    QVERIFY(model.hintFor(tab).has_value());
    QCOMPARE(model.hintFor(tab)->reason, QStringLiteral("a"));
    model.dismissHintFor(idText(tab.id));
    QCOMPARE(model.hintFor(tab), std::nullopt);
    QVERIFY(model.tabsFor(SidebarSelection::hints()).isEmpty());
}

PELLMORA_TEST_GUILESS_MAIN(TestAppModel)
#include "TestAppModel.moc"
