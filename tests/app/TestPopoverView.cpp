#include <QDir>
#include <QJsonDocument>
#include <QtMath>
#include <QJsonObject>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QSignalSpy>
#include <QTest>

#include <memory>

#include "AppModelFixture.h"
#include "AppModelForeign.h"
#include "DemoData.h"
#include "PopoverText.h"
#include "QmlModule.h"
#include "SleepOptions.h"
#include "TrayController.h"
#include "ViewHarness.h"
#include "PlatformWords.h"
#include "TestRegistry.h"

// The menu popover over a model with the fake browser: what it shows in each
// state, and what its buttons and options do to the model.
class TestPopoverView : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void memoryEstimate_data();
    void memoryEstimate();
    void counts_data();
    void counts();
    void countHeader_data();
    void countHeader();
    void demoCounts_data();
    void demoCounts();
    void notConnected();
    void connectButtonConnects();
    void connectFailureShowsMessage();
    void countingAndMessages_data();
    void countingAndMessages();
    void stages_data();
    void stages();
    void cancelBringsBackButtonAndOptions();
    void okAfterRunBringsBackButton();
    void failedRunCanStartAgain();
    void optionsWriteSavedOptions_data();
    void optionsWriteSavedOptions();
    void optionsFollowModel();
    void footer_data();
    void footer();
    void footerFollowsTheDay();
    void links_data();
    void links();
    void inTheTray();
    void textsFit_data();
    void textsFit();

private:
    // Loads the popover over the fixture's model (made now).
    bool open(const QVariant &previewCount = {});
    QQuickItem *item(const QString &name) const { return m_h->item(name); }
    QString text(const QString &name) const { return m_h->text(name); }
    bool shown(const QString &name) const { return m_h->isShown(name); }
    void click(const QString &name) { QVERIFY2(m_h->click(name), qPrintable(name)); }
    void connectWithWindows(const QList<int> &tabsPerWindow);
    void setUpState(const QString &state);

    std::unique_ptr<AppModelFixture> m_f;
    std::unique_ptr<ViewHarness> m_h;
};

namespace {

QList<SafariWindow> windowsOf(const QList<int> &tabsPerWindow)
{
    QList<SafariWindow> windows;
    int n = 0;
    for (int w = 0; w < tabsPerWindow.size(); ++w) {
        QStringList urls;
        for (int t = 0; t < tabsPerWindow.at(w); ++t)
            urls.append(QStringLiteral("https://example.org/p%1").arg(++n));
        windows.append(AppModelFixture::window(w + 1, urls));
    }
    return windows;
}

QVariantMap preview(int tabs, int windows)
{
    return {{QStringLiteral("tabs"), tabs}, {QStringLiteral("windows"), windows}};
}

} // namespace

void TestPopoverView::init()
{
    m_f = std::make_unique<AppModelFixture>();
}

void TestPopoverView::cleanup()
{
    m_h.reset();
    m_f.reset();
}

bool TestPopoverView::open(const QVariant &previewCount)
{
    m_h = std::make_unique<ViewHarness>(m_f->model());
    QVariantMap initial;
    if (previewCount.isValid())
        initial.insert(QStringLiteral("previewCount"), previewCount);
    return m_h->load(QStringLiteral("PopoverView.qml"), nullptr, initial);
}

// A connected browser with these windows, counted once.
void TestPopoverView::connectWithWindows(const QList<int> &tabsPerWindow)
{
    m_f->settings().setValue(QStringLiteral("safariConnected"), true);
    m_f->bridge().setWindows(windowsOf(tabsPerWindow));
    int tabs = 0;
    for (int n : tabsPerWindow)
        tabs += n;
    m_f->model().refreshLiveCount();
    QTRY_COMPARE(m_f->model().liveTabs(), std::optional<int>(tabs));
}

void TestPopoverView::memoryEstimate_data()
{
    QTest::addColumn<int>("tabs");
    QTest::addColumn<QString>("expected");

    QTest::newRow("none") << 0 << "0 MB";
    QTest::newRow("one, half a megabyte cut") << 1 << "7 MB";
    QTest::newRow("12") << 12 << "90 MB";
    QTest::newRow("50") << 50 << "375 MB";
    QTest::newRow("last below a gigabyte") << 133 << "997 MB";
    QTest::newRow("first gigabyte") << 134 << "1,0 GB";
    QTest::newRow("exact half rounds up") << 140 << "1,1 GB";
    QTest::newRow("400") << 400 << "3,0 GB";
    QTest::newRow("1234") << 1234 << "9,3 GB";
    QTest::newRow("thousands grouped") << 200000 << "1'500,0 GB";
}

void TestPopoverView::memoryEstimate()
{
    QFETCH(int, tabs);
    QFETCH(QString, expected);
    QCOMPARE(PopoverText::memoryEstimate(tabs), expected);
}

void TestPopoverView::counts_data()
{
    using Counts = PopoverText::Counts;
    QTest::addColumn<std::optional<Counts>>("preview");
    QTest::addColumn<bool>("demo");
    QTest::addColumn<bool>("connected");
    QTest::addColumn<std::optional<int>>("liveTabs");
    QTest::addColumn<std::optional<int>>("liveWindows");
    QTest::addColumn<std::optional<Counts>>("expected");

    const auto none = std::optional<int>();
    const Counts demo = *PopoverText::counts(std::nullopt, true, false, none, none);
    QTest::newRow("preview wins over everything")
        << std::optional(Counts{7, 2}) << true << false << std::optional(40) << std::optional(4)
        << std::optional(Counts{7, 2});
    QTest::newRow("demo without browser") << std::optional<Counts>() << true << false << std::optional(40)
                                          << std::optional(4) << std::optional(demo);
    QTest::newRow("demo with connected browser shows live")
        << std::optional<Counts>() << true << true << std::optional(40) << std::optional(4)
        << std::optional(Counts{40, 4});
    QTest::newRow("live") << std::optional<Counts>() << false << true << std::optional(3) << std::optional(1)
                          << std::optional(Counts{3, 1});
    QTest::newRow("tabs without windows") << std::optional<Counts>() << false << true << std::optional(3)
                                          << none << std::optional<Counts>();
    QTest::newRow("never counted") << std::optional<Counts>() << false << false << none << none
                                   << std::optional<Counts>();
}

void TestPopoverView::counts()
{
    using Counts = PopoverText::Counts;
    QFETCH(std::optional<Counts>, preview);
    QFETCH(bool, demo);
    QFETCH(bool, connected);
    QFETCH(std::optional<int>, liveTabs);
    QFETCH(std::optional<int>, liveWindows);
    QFETCH(std::optional<Counts>, expected);
    QCOMPARE(PopoverText::counts(preview, demo, connected, liveTabs, liveWindows), expected);
}

void TestPopoverView::countHeader_data()
{
    QTest::addColumn<QList<int>>("tabsPerWindow");
    QTest::addColumn<QString>("countLine");
    QTest::addColumn<QString>("memoryLine"); // empty: not shown
    QTest::addColumn<QString>("groupOption");

    QTest::newRow("singular") << QList<int>{1} << "1 Tab in 1 Fenster" << ""
                              << "Gruppen wie meine Fenster (1 Gruppe)";
    QTest::newRow("49 tabs, no warning") << QList<int>{20, 20, 9} << "49 Tabs in 3 Fenstern" << ""
                                         << "Gruppen wie meine Fenster (3 Gruppen)";
    QTest::newRow("50 tabs warn")
        << QList<int>{25, 25} << "50 Tabs in 2 Fenstern"
        << "Belegen geschätzt 375 MB Arbeitsspeicher und sind der grösste Akku-Verbraucher."
        << "Gruppen wie meine Fenster (2 Gruppen)";
}

void TestPopoverView::countHeader()
{
    QFETCH(QList<int>, tabsPerWindow);
    QFETCH(QString, countLine);
    QFETCH(QString, memoryLine);
    QFETCH(QString, groupOption);

    connectWithWindows(tabsPerWindow);
    QVERIFY(open());
    QVERIFY(!shown("demoBadge"));
    QVERIFY(shown("countLine"));
    QCOMPARE(text("countLine"), countLine);
    QCOMPARE(shown("memoryLine"), !memoryLine.isEmpty());
    if (!memoryLine.isEmpty())
        QCOMPARE(text("memoryLine"), memoryLine);
    QCOMPARE(item("optionGroupByWindow")->property("title").toString(), groupOption);
    QVERIFY(!shown("notConnectedTitle"));
    QVERIFY(!shown("countingText"));
    QVERIFY(!shown("safariMessage"));

    // The count follows the model: a recount with one tab fewer shows at once.
    QList<int> fewer = tabsPerWindow;
    fewer.last() -= 1;
    if (fewer.last() == 0)
        return;
    m_f->bridge().setWindows(windowsOf(fewer));
    m_f->model().refreshLiveCount();
    QTRY_VERIFY(text("countLine") != countLine);
}

void TestPopoverView::demoCounts_data()
{
    QTest::addColumn<QVariant>("preview");
    QTest::addColumn<bool>("badge");
    QTest::addColumn<int>("tabs");
    QTest::addColumn<int>("windows");

    int demoTabs = 0;
    const QList<SafariWindow> snapshot = DemoData::safariSnapshot();
    for (const SafariWindow &w : snapshot)
        demoTabs += int(w.tabs.size());
    QTest::newRow("sample snapshot") << QVariant() << true << demoTabs << int(snapshot.size());
    QTest::newRow("preview counts, no badge") << QVariant(preview(12, 3)) << false << 12 << 3;
}

void TestPopoverView::demoCounts()
{
    QFETCH(QVariant, preview);
    QFETCH(bool, badge);
    QFETCH(int, tabs);
    QFETCH(int, windows);

    m_f->settings().setValue(QStringLiteral("demoMode"), true);
    QVERIFY(open(preview));
    QCOMPARE(shown("demoBadge"), badge);
    if (badge)
        QCOMPARE(text("demoBadge"), PlatformWords::demoBadge({}));
    QCOMPARE(text("countLine"), PopoverText::countLine(tabs, windows));
    QCOMPARE(shown("memoryLine"), tabs >= 50);
    // Not connected, yet the button sleeps: demo mode needs no browser.
    QVERIFY(!shown("notConnectedTitle"));
}

void TestPopoverView::notConnected()
{
    QVERIFY(open());
    QVERIFY(!shown("countLine"));
    QVERIFY(!shown("memoryLine"));
    QVERIFY(!shown("demoBadge"));
    QVERIFY(shown("notConnectedTitle"));
    QVERIFY(shown("notConnectedText"));
    QCOMPARE(text("sleepButton"), PlatformWords::connectButton());
    QCOMPARE(item("optionGroupByWindow")->property("title").toString(),
             QStringLiteral("Gruppen wie meine Fenster"));
}

void TestPopoverView::connectButtonConnects()
{
    m_f->bridge().setWindows(windowsOf({4, 2}));
    QVERIFY(open());
    click(QStringLiteral("sleepButton"));
    QTRY_VERIFY(m_f->model().safariConnected());
    QTRY_COMPARE(text("countLine"), QStringLiteral("6 Tabs in 2 Fenstern"));
    QVERIFY(!shown("notConnectedTitle"));
    QCOMPARE(text("sleepButton"), QStringLiteral("🌙  Alle Tabs schlafen legen"));
    // Connecting is not sleeping: nothing was read or closed.
    QCOMPARE(m_f->model().sleepStage().kind, SleepStage::Kind::idle);
    QVERIFY(m_f->bridge().closeRequests().isEmpty());
}

void TestPopoverView::connectFailureShowsMessage()
{
    m_f->bridge().setRunning(false);
    QVERIFY(open());
    click(QStringLiteral("sleepButton"));
    QTRY_VERIFY(shown("safariMessage"));
    QCOMPARE(text("safariMessage"), PlatformWords::notRunningError());
    QVERIFY(shown("notConnectedTitle"));
    QCOMPARE(text("sleepButton"), PlatformWords::connectButton());
}

void TestPopoverView::countingAndMessages_data()
{
    QTest::addColumn<bool>("browserRunning");
    QTest::addColumn<bool>("counted");
    QTest::addColumn<QString>("counting"); // empty: not shown
    QTest::addColumn<QString>("redMessage"); // empty: not shown

    // Connected but never counted: the count is on its way.
    QTest::newRow("never counted") << true << false << "Zähle die Tabs …" << "";
    // The message stands in place of the count, and only there.
    QTest::newRow("browser closed") << false << true << PlatformWords::browserNotOpen() << "";
}

void TestPopoverView::countingAndMessages()
{
    QFETCH(bool, browserRunning);
    QFETCH(bool, counted);
    QFETCH(QString, counting);
    QFETCH(QString, redMessage);

    m_f->settings().setValue(QStringLiteral("safariConnected"), true);
    m_f->bridge().setRunning(browserRunning);
    if (counted)
        m_f->model().refreshLiveCount();
    QVERIFY(open());
    QVERIFY(!shown("countLine"));
    QVERIFY(!shown("notConnectedTitle"));
    QCOMPARE(shown("countingText"), !counting.isEmpty());
    QCOMPARE(text("countingText"), counting);
    QCOMPARE(shown("safariMessage"), !redMessage.isEmpty());
}

void TestPopoverView::stages_data()
{
    QTest::addColumn<SleepStage>("stage");
    QTest::addColumn<bool>("idlePart");
    QTest::addColumn<bool>("progress");
    QTest::addColumn<bool>("result");
    QTest::addColumn<QString>("label");
    QTest::addColumn<double>("fraction"); // negative: indeterminate

    SleepStats stats;
    stats.tabs = 12;
    stats.groups = 3;
    stats.topics = 1;
    QTest::newRow("idle") << SleepStage::idle() << true << false << false << "" << -1.0;
    QTest::newRow("reading") << SleepStage::reading() << false << true << false
                             << PlatformWords::readingStage() << -1.0;
    const SleepStage fetching = SleepStage::fetching(3, 10);
    QTest::newRow("fetching with fraction") << fetching << false << true << false
                                            << "Speichere Seiteninhalte: 3 von 10" << *fetching.fraction();
    QTest::newRow("grouping") << SleepStage::grouping() << false << true << false
                              << "Sortiere nach Thema …" << *SleepStage::grouping().fraction();
    QTest::newRow("done") << SleepStage::finished(stats) << false << false << true
                          << "✓ 12 Tabs schlafen, 3 Gruppen, 1 Thema" << -1.0;
    QTest::newRow("failed") << SleepStage::failed(QStringLiteral("Kaputt.")) << true << false << false << "Kaputt."
                            << -1.0;
}

void TestPopoverView::stages()
{
    QFETCH(SleepStage, stage);
    QFETCH(bool, idlePart);
    QFETCH(bool, progress);
    QFETCH(bool, result);
    QFETCH(QString, label);
    QFETCH(double, fraction);

    m_f->settings().setValue(QStringLiteral("demoMode"), true);
    QVERIFY(open());
    m_f->model().setSleepStage(stage);

    QCOMPARE(shown("sleepButton"), idlePart);
    QCOMPARE(shown("optionGroupByWindow"), idlePart);
    QCOMPARE(shown("optionKeepPinned"), idlePart);
    QCOMPARE(shown("progressPart"), progress);
    QCOMPARE(shown("cancelButton"), progress);
    QCOMPARE(shown("resultPart"), result);
    QCOMPARE(shown("resultOkButton"), result);
    // The footer stays in every state.
    QVERIFY(shown("footerLine"));
    QVERIFY(shown("footerChatButton"));

    const bool failed = stage.kind == SleepStage::Kind::failed;
    QCOMPARE(shown("failureMessage"), failed);
    if (failed)
        QCOMPARE(text("failureMessage"), label);
    if (progress) {
        QCOMPARE(text("stageLabel"), label);
        QQuickItem *bar = item(QStringLiteral("progressBar"));
        QCOMPARE(bar->property("indeterminate").toBool(), fraction < 0);
        if (fraction >= 0)
            QCOMPARE(bar->property("value").toDouble(), fraction);
    }
    if (result) {
        QCOMPARE(text("resultText"), label);
    }
}

void TestPopoverView::cancelBringsBackButtonAndOptions()
{
    QVERIFY(open());
    m_f->model().setSleepStage(SleepStage::summarizing(2, 8));
    QVERIFY(!shown("sleepButton"));
    click(QStringLiteral("cancelButton"));
    QCOMPARE(m_f->model().sleepStage(), SleepStage::idle());
    QVERIFY(shown("sleepButton"));
    QVERIFY(shown("optionSaveContent"));
    QVERIFY(!shown("progressPart"));
}

void TestPopoverView::okAfterRunBringsBackButton()
{
    QVERIFY(open());
    SleepStats stats;
    stats.tabs = 1;
    stats.groups = 1;
    m_f->model().setSleepStage(SleepStage::finished(stats));
    QCOMPARE(text("resultText"), QStringLiteral("✓ 1 Tab schläft, 1 Gruppe, 0 Themen"));
    click(QStringLiteral("resultOkButton"));
    QCOMPARE(m_f->model().sleepStage(), SleepStage::idle());
    QVERIFY(shown("sleepButton"));
    QVERIFY(!shown("resultPart"));
}

void TestPopoverView::failedRunCanStartAgain()
{
    // Connected, but the browser has nothing open: the run fails.
    m_f->settings().setValue(QStringLiteral("safariConnected"), true);
    SleepOptions offline;
    offline.saveContent = false; // no page fetches from the test
    offline.sortByTopic = false;
    m_f->settings().setValue(QStringLiteral("sleepOptions"), offline.encode());
    m_f->bridge().setWindows({});
    QVERIFY(open());
    QSignalSpy ended(&m_f->model(), &AppModel::sleepRunEnded);
    click(QStringLiteral("sleepButton"));
    QTRY_VERIFY(shown("failureMessage"));
    QCOMPARE(text("failureMessage"), PlatformWords::emptyBrowser({}));
    QVERIFY(shown("sleepButton"));
    QVERIFY(shown("optionGroupByWindow"));

    // Now there are tabs: the next click runs to the end.
    m_f->bridge().setWindows(windowsOf({2}));
    QTRY_COMPARE(ended.count(), 1);
    click(QStringLiteral("sleepButton"));
    QTRY_COMPARE_WITH_TIMEOUT(m_f->model().sleepStage().kind, SleepStage::Kind::done, 60000);
    QTRY_VERIFY(shown("resultPart"));
    QVERIFY(text("resultText").startsWith(QStringLiteral("✓ 2 Tabs schlafen, 1 Gruppe")));
    QVERIFY(!shown("failureMessage"));
}

void TestPopoverView::optionsWriteSavedOptions_data()
{
    QTest::addColumn<QString>("row");
    QTest::addColumn<QString>("field");

    QTest::newRow("group by window") << "optionGroupByWindow" << "groupByWindow";
    QTest::newRow("sort by topic") << "optionSortByTopic" << "sortByTopic";
    QTest::newRow("save content") << "optionSaveContent" << "saveContent";
    QTest::newRow("keep pinned") << "optionKeepPinned" << "keepPinned";
}

void TestPopoverView::optionsWriteSavedOptions()
{
    QFETCH(QString, row);
    QFETCH(QString, field);

    QVERIFY(open());
    AppModel &model = m_f->model();
    const QByteArray property = field.toUtf8();
    const bool before = model.property(property).toBool();
    const SleepOptions optionsBefore = model.options();
    QCOMPARE(item(row)->property("checked").toBool(), before);

    click(row);
    QCOMPARE(model.property(property).toBool(), !before);
    QCOMPARE(item(row)->property("checked").toBool(), !before);
    // Saved at once, and only this field changed.
    m_f->settings().sync();
    const QJsonObject saved =
        QJsonDocument::fromJson(m_f->settings().value(QStringLiteral("sleepOptions")).toByteArray()).object();
    QCOMPARE(saved.value(field).toBool(), !before);
    SleepOptions expected = optionsBefore;
    model.setProperty(property, before);
    QCOMPARE(model.options(), expected);

    click(row);
    QCOMPARE(model.property(property).toBool(), !before);
}

void TestPopoverView::optionsFollowModel()
{
    QVERIFY(open());
    AppModel &model = m_f->model();
    const QString row = QStringLiteral("optionKeepPinned");
    const bool start = model.options().keepPinned;
    click(row); // the click's own assignment must not cut the box off the model
    QCOMPARE(model.options().keepPinned, !start);
    SleepOptions options = model.options();
    options.keepPinned = start;
    model.setOptions(options);
    QCOMPARE(item(row)->property("checked").toBool(), start);
}

void TestPopoverView::footer_data()
{
    QTest::addColumn<QList<int>>("reminderHours"); // hours from now
    QTest::addColumn<int>("openHints");
    QTest::addColumn<int>("dismissedHints");
    QTest::addColumn<QString>("expected");

    // The clock stands at Monday 16.11.2026 20:31.
    QTest::newRow("none") << QList<int>{} << 0 << 0
                          << "⏰  0 Erinnerungen heute · 💡  0 neue Hinweise zu deinen Projekten";
    QTest::newRow("singular") << QList<int>{1} << 1 << 0
                              << "⏰  1 Erinnerung heute · 💡  1 neuer Hinweis zu deinen Projekten";
    QTest::newRow("yesterday's reminder is due today") << QList<int>{-24} << 0 << 0
                          << "⏰  1 Erinnerung heute · 💡  0 neue Hinweise zu deinen Projekten";
    QTest::newRow("tomorrow's does not count") << QList<int>{-30, 2, 4, 24} << 2 << 0
                          << "⏰  2 Erinnerungen heute · 💡  2 neue Hinweise zu deinen Projekten";
    QTest::newRow("dismissed hints do not count") << QList<int>{} << 1 << 3
                          << "⏰  0 Erinnerungen heute · 💡  1 neuer Hinweis zu deinen Projekten";
}

void TestPopoverView::footer()
{
    QFETCH(QList<int>, reminderHours);
    QFETCH(int, openHints);
    QFETCH(int, dismissedHints);
    QFETCH(QString, expected);

    const QDateTime now = m_f->clock().now();
    m_f->library().mutate([&](LibraryData &data) {
        int index = 0;
        for (int hours : reminderHours) {
            SavedTab tab = AppModelFixture::tab(QStringLiteral("Erinnert %1").arg(index), now.addDays(-3), index);
            tab.reminderAt = now.addSecs(qint64(hours) * 3600);
            data.tabs.append(tab);
            ++index;
        }
        // A tab without reminder is never counted.
        data.tabs.append(AppModelFixture::tab(QStringLiteral("Ohne"), now.addDays(-3), index));
        for (int h = 0; h < openHints + dismissedHints; ++h) {
            Hint hint;
            hint.id = QUuid::createUuid();
            hint.tabId = data.tabs.constLast().id;
            hint.reason = QStringLiteral("passt");
            hint.createdAt = now;
            hint.dismissed = h >= openHints;
            data.hints.append(hint);
        }
    });
    QVERIFY(open());
    QCOMPARE(text("footerLine"), expected);

    // A change of the library shows at once: one more reminder for now.
    m_f->library().mutate([&](LibraryData &data) { data.tabs.last().reminderAt = now; });
    QVERIFY(text("footerLine") != expected);
}

void TestPopoverView::footerFollowsTheDay()
{
    const QDateTime now = m_f->clock().now();
    m_f->library().mutate([&](LibraryData &data) {
        SavedTab tab = AppModelFixture::tab(QStringLiteral("Morgen"), now.addDays(-1), 0);
        tab.reminderAt = QDateTime(now.date().addDays(1), QTime(8, 0));
        data.tabs.append(tab);
    });
    QVERIFY(open());
    QVERIFY(text("footerLine").startsWith(QStringLiteral("⏰  0 Erinnerungen heute")));
    // Past midnight, before the reminder's hour: the popover opens again.
    m_f->clock().set(QDateTime(now.date().addDays(1), QTime(7, 0)));
    m_f->model().refreshLiveCount();
    QVERIFY(text("footerLine").startsWith(QStringLiteral("⏰  1 Erinnerung heute")));
}

void TestPopoverView::links_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<bool>("library");

    QTest::newRow("footer library") << "footerLibraryButton" << true;
    QTest::newRow("footer chat") << "footerChatButton" << false;
    QTest::newRow("result library") << "resultLibraryButton" << true;
}

void TestPopoverView::links()
{
    QFETCH(QString, button);
    QFETCH(bool, library);

    QVERIFY(open());
    if (button.startsWith(u"result"))
        m_f->model().setSleepStage(SleepStage::finished(SleepStats{}));
    QSignalSpy openLibrary(m_h->root(), SIGNAL(openLibrary()));
    QSignalSpy openChat(m_h->root(), SIGNAL(openChat()));
    click(button);
    QCOMPARE(openLibrary.count(), library ? 1 : 0);
    QCOMPARE(openChat.count(), library ? 0 : 1);
    // Opening a window leaves a finished run's result where it was.
    if (button.startsWith(u"result"))
        QCOMPARE(m_f->model().sleepStage().kind, SleepStage::Kind::done);
}

// The real view in the tray's window: sized to its content as the stage
// changes, and a link closes it and asks for the window (which link asks
// for which window is shown by links()).
void TestPopoverView::inTheTray()
{
    m_f->settings().setValue(QStringLiteral("demoMode"), true);
    AppModelForeign::setInstance(&m_f->model());
    QQmlEngine engine;
    QmlModule::prepare(engine);
    TrayController tray(&engine);
    QSignalSpy libraryAsked(&tray, &TrayController::openLibraryRequested);
    QSignalSpy chatAsked(&tray, &TrayController::openChatRequested);
    tray.togglePopover();
    QQuickView *window = tray.popover();
    QVERIFY(window && window->rootObject());
    QVERIFY(QTest::qWaitForWindowExposed(window));
    QCOMPARE(window->width(), TrayController::kPopoverWidth);
    const int idleHeight = window->height();
    QCOMPARE(idleHeight, qCeil(window->rootObject()->implicitHeight()));

    // A run hides the button and the options: the window gets shorter.
    // (Columns lay out on the next frame.)
    m_f->model().setSleepStage(SleepStage::reading());
    QTRY_VERIFY(window->height() < idleHeight);
    m_f->model().setSleepStage(SleepStage::idle());
    QTRY_COMPARE(window->height(), idleHeight);

    auto *button = window->rootObject()->findChild<QQuickItem *>(QStringLiteral("footerChatButton"));
    QVERIFY(button);
    const QPointF centre = button->mapToScene(QPointF(button->width() / 2, button->height() / 2));
    QTest::mouseClick(window, Qt::LeftButton, {}, centre.toPoint());
    QVERIFY(!tray.isPopoverVisible());
    QCOMPARE(libraryAsked.size(), 0);
    QCOMPARE(chatAsked.size(), 1);
}

// The states drawn by textsFit; each prepares the fixture before open().
void TestPopoverView::setUpState(const QString &state)
{
    if (state == u"not connected")
        return;
    if (state == u"demo") {
        m_f->settings().setValue(QStringLiteral("demoMode"), true);
        return;
    }
    connectWithWindows({600, 634});
    if (state == u"failed") {
        m_f->model().setSleepStage(SleepStage::failed(PlatformWords::connectFirst()));
    } else if (state == u"running") {
        m_f->model().setSleepStage(SleepStage::summarizing(1'234, 2'000));
    } else if (state == u"done") {
        SleepStats stats;
        stats.tabs = 1'234;
        stats.groups = 2;
        stats.topics = 11;
        m_f->model().setSleepStage(SleepStage::finished(stats));
    }
    const QDateTime now = m_f->clock().now();
    m_f->library().mutate([&](LibraryData &data) {
        SavedTab tab = AppModelFixture::tab(QStringLiteral("Erinnert"), now.addDays(-1), 0);
        tab.reminderAt = now.addDays(-1);
        data.tabs.append(tab);
    });
}

void TestPopoverView::textsFit_data()
{
    QTest::addColumn<QString>("state");
    for (const char *state : {"not connected", "demo", "idle", "failed", "running", "done"})
        QTest::newRow(state) << QString::fromLatin1(state);
}

// No text runs past the popover's edges or is cut short, in any state; with
// PELLMORA_POPOVER_SHOTS set, each state is also written there as a picture.
void TestPopoverView::textsFit()
{
    QFETCH(QString, state);
    setUpState(state);
    QVERIFY(open());
    QQuickItem *root = m_h->root();
    QCOMPARE(root->width(), 420.0);
    QVERIFY(root->height() >= root->implicitHeight());

    int texts = 0;
    const QList<QQuickItem *> items = root->findChildren<QQuickItem *>();
    for (QQuickItem *i : items) {
        if (!i->isVisible() || qstrcmp(i->metaObject()->className(), "QQuickText") != 0)
            continue;
        const QString what = i->property("text").toString();
        if (what.isEmpty())
            continue;
        ++texts;
        QVERIFY2(!i->property("truncated").toBool(), qPrintable(what));
        const QPointF topLeft = i->mapToItem(root, QPointF(0, 0));
        const qreal right = topLeft.x() + i->property("leftPadding").toReal()
            + i->property("contentWidth").toReal();
        QVERIFY2(topLeft.x() >= 0 && right <= root->width() - 8, qPrintable(what));
        QVERIFY2(topLeft.y() + i->height() <= root->height(), qPrintable(what));
    }
    QVERIFY(texts >= 6);

    const QString shots = qEnvironmentVariable("PELLMORA_POPOVER_SHOTS");
    if (!shots.isEmpty()) {
        QDir().mkpath(shots);
        QVERIFY(m_h->render().save(QDir(shots).filePath(QString(state).replace(u' ', u'-') + ".png")));
    }
}

PELLMORA_TEST_MAIN(TestPopoverView)
#include "TestPopoverView.moc"
