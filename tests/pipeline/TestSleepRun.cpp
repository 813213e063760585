#include "SleepRun.h"

#include "DemoData.h"
#include "Embedder.h"
#include "FakeBrowserBridge.h"
#include "FakeClock.h"
#include "Library.h"
#include "LibraryBuilder.h"
#include "LiveLibraryAccess.h"
#include "LocalHttpServer.h"
#include "SleepPipeline.h"
#include "StoreLibraryAccess.h"
#include "TestRegistry.h"
#include "TestSupport.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThread>

using Kind = SleepStage::Kind;
using namespace Qt::StringLiterals;

namespace {

const QDateTime runTime(QDate(2026, 11, 16), QTime(20, 31)); // the fake clock's, local

// Browser windows numbered from 1, their tabs numbered from 1, titled by address.
QList<SafariWindow> browser(const QList<QStringList> &windows)
{
    QList<SafariWindow> result;
    for (const QStringList &urls : windows) {
        result.append(SafariWindow{int(result.size()) + 1, {}});
        for (const QString &url : urls)
            result.last().tabs.append(SafariTab{url, url, int(result.last().tabs.size()) + 1});
    }
    return result;
}

qsizetype count(const LibraryData &data, bool (*test)(const SavedTab &))
{
    return std::count_if(data.tabs.cbegin(), data.tabs.cend(), test);
}

// Each kind once, in the order reported.
QList<Kind> kindsOf(const QList<SleepStage> &stages)
{
    QList<Kind> kinds;
    for (const SleepStage &stage : stages)
        if (kinds.isEmpty() || kinds.last() != stage.kind)
            kinds.append(stage.kind);
    return kinds;
}

// Writes through to the file; can hide an address from the read-back, as a
// broken disk would.
class HidingAccess final : public LibraryAccess
{
public:
    explicit HidingAccess(const QString &path) : m_inner(LibraryStore(path)) {}
    QString hidden;

    LibraryData current() override { return m_inner.current(); }
    Status write(const LibraryData &data) override { return m_inner.write(data); }
    Result<LibraryData> readBack() override
    {
        Result<LibraryData> stored = m_inner.readBack();
        if (!stored)
            return stored;
        LibraryData data = std::move(stored).value();
        data.tabs.removeIf([&](const SavedTab &tab) { return tab.url == hidden; });
        return data;
    }

private:
    StoreLibraryAccess m_inner;
};

} // namespace

// A sleep run and its steps: what is saved, in which order the file is
// written, and that no tab closes unless its address is in the file.
class TestSleepRun : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<SleepPipeline> m_pipeline;
    FakeClock m_clock;

    QString libraryPath() const { return m_dir->filePath(QStringLiteral("Pellmora/library.json")); }
    LibraryData stored() const { return LibraryStore(libraryPath()).load(); }

    // `stopAt10` stops the run once ten of the 52 demo tabs are summarised.
    SleepRun::Outcome run(LibraryAccess &access, BrowserBridge *bridge, const SleepOptions &options, bool demo,
                          QList<SleepStage> *stages = nullptr, std::stop_source *stopAt10 = nullptr)
    {
        const SleepRun sleep(*m_pipeline, access, bridge, m_clock);
        return sleep.run(options, demo, [&](const SleepStage &stage) {
            if (stages)
                stages->append(stage);
            if (stopAt10 && stage == SleepStage::summarizing(10, 52))
                stopAt10->request_stop();
        }, stopAt10 ? stopAt10->get_token() : std::stop_token());
    }

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        PageFetcher::Options quick;
        quick.timeout = 2;
        quick.transferTimeout = 4;
        m_pipeline = std::make_unique<SleepPipeline>(std::make_shared<const Embedder>(false), PageFetcher(quick));
    }

    // Every address not yet saved, once, in a window numbered after the
    // library's (gaps where a browser window brought nothing new) or all in
    // one collection window; what was there stays in front.
    void addSnapshot_data()
    {
        QTest::addColumn<QStringList>("known");
        QTest::addColumn<int>("windowsBefore");
        QTest::addColumn<QList<QStringList>>("windows");
        QTest::addColumn<bool>("byWindow");
        QTest::addColumn<QString>("added"); // "name: domains | ..." of the windows added
        const QString a = u"https://a.ch/"_s, b = u"https://b.ch/x"_s, c = u"https://c.ch/?q=1"_s, d = u"https://d.ch"_s;
        QTest::newRow("new library, two windows")
            << QStringList() << 0 << QList<QStringList>{{a, b}, {c}} << true << "Fenster 1: a.ch b.ch | Fenster 2: c.ch";
        QTest::newRow("every address known") << QStringList{a, b} << 1 << QList<QStringList>{{a}, {b, a}} << true << "";
        QTest::newRow("address in two windows saved in the first")
            << QStringList() << 0 << QList<QStringList>{{a, b}, {b, c}} << true << "Fenster 1: a.ch b.ch | Fenster 2: c.ch";
        QTest::newRow("address twice in one window")
            << QStringList() << 0 << QList<QStringList>{{a, a, b}} << true << "Fenster 1: a.ch b.ch";
        QTest::newRow("window without new tabs leaves a gap")
            << QStringList{b} << 4 << QList<QStringList>{{a}, {b}, {c}} << true << "Fenster 5: a.ch | Fenster 7: c.ch";
        QTest::newRow("collection window holds every window's tabs")
            << QStringList{b} << 4 << QList<QStringList>{{a}, {b}, {c, d}} << false << "Sammlung: a.ch c.ch d.ch";
        QTest::newRow("known, no collection window") << QStringList{a} << 1 << QList<QStringList>{{a}} << false << "";
    }

    void addSnapshot()
    {
        QFETCH(QStringList, known);
        QFETCH(int, windowsBefore);
        QFETCH(QList<QStringList>, windows);
        QFETCH(bool, byWindow);
        QFETCH(QString, added);
        LibraryBuilder builder(runTime.addDays(-3));
        for (int w = 0; w < windowsBefore; ++w)
            builder.window();
        for (const QString &url : known)
            builder.tab(url, url).summary(u"Schon da."_s);
        const LibraryData before = builder;
        const SleepPipeline::Added result = SleepPipeline::addSnapshot(
            browser(windows), before, SleepOptions{byWindow, true, true, false, {}}, false, runTime);
        const LibraryData &d = result.data;
        QCOMPARE(d.tabs.first(before.tabs.size()), before.tabs);
        QCOMPARE(d.windows.first(before.windows.size()), before.windows);
        QStringList got;
        QList<QUuid> ids;
        for (const SavedWindow &window : d.windows.mid(before.windows.size())) {
            QStringList domains;
            for (const SavedTab &tab : d.tabsIn(window)) {
                QVERIFY(tab.windowId == window.id && tab.savedAt == runTime);
                domains.append(tab.domain);
                ids.append(tab.id);
            }
            got.append(window.title.section(u" · "_s, 0, 0) + u": "_s + domains.join(u' '));
        }
        QCOMPARE(got.join(u" | "_s), added);
        // The new tabs follow in the order saved.
        QCOMPARE(result.newIds, ids);
        QCOMPARE(d.tabs.size(), before.tabs.size() + ids.size());
    }

    // A demo run as the application makes it, through its live library from
    // a worker thread: written after adding, after summarising and after
    // grouping; the browser is not touched.
    void demoRunSavesStepByStepAndClosesNothing()
    {
        Library library{LibraryStore(libraryPath())};
        QList<LibraryData> writes;
        connect(&library, &Library::dataChanged, this, [&] { writes.append(library.data()); });
        LiveLibraryAccess access(&library);
        FakeBrowserBridge bridge;
        const QList<SafariWindow> open = browser({{u"https://offen.ch/"_s}});
        bridge.setWindows(open);
        QList<SleepStage> stages;
        SleepRun::Outcome outcome;
        std::unique_ptr<QThread> worker(
            QThread::create([&] { outcome = run(access, &bridge, SleepOptions(), true, &stages); }));
        QSignalSpy finished(worker.get(), &QThread::finished);
        worker->start();
        QVERIFY(finished.wait(60000));

        QCOMPARE(kindsOf(stages), (QList<Kind>{Kind::reading, Kind::summarizing, Kind::grouping, Kind::done}));
        QCOMPARE(stages.last(), outcome.stage);
        const SleepStats stats = outcome.stage.stats;
        QCOMPARE(QList<int>({stats.tabs, stats.groups, stats.newTabs, stats.closed}), QList<int>({52, 3, 52, 0}));
        QVERIFY(stats.topics >= 1);
        QCOMPARE(writes.size(), 3);
        QCOMPARE(count(writes[0], [](const SavedTab &t) { return t.isDemo && t.summary.isEmpty(); }), 52);
        QCOMPARE(count(writes[1], [](const SavedTab &t) { return !t.summary.isEmpty(); }), 52);
        QVERIFY(writes[1].topics.isEmpty());
        QVERIFY(writes[2].topics.size() >= 2);
        QCOMPARE(library.data(), outcome.data);
        QCOMPARE(stored(), outcome.data);
        QVERIFY(bridge.closeRequests().isEmpty());
        QCOMPARE(bridge.windows(), open);
    }

    void runClosesSavedTabsKeepingPinned()
    {
        LocalHttpServer server;
        server.route("/eins", LocalHttpServer::page("<p>Text eins</p>"));
        server.route("/zwei", LocalHttpServer::page("<p>Text zwei</p>"));
        FakeBrowserBridge bridge;
        const QList<SafariWindow> windows =
            browser({{server.address("/eins"), server.address("/keep/mail")}, {server.address("/zwei")}});
        bridge.setWindows(windows);
        StoreLibraryAccess access{LibraryStore(libraryPath())};
        SleepOptions options;
        options.keepPinned = true;
        options.pinnedDomains = {u"/keep/"_s};
        QList<SleepStage> stages;
        const SleepRun::Outcome outcome = run(access, &bridge, options, false, &stages);

        QCOMPARE(kindsOf(stages), (QList<Kind>{Kind::reading, Kind::fetching, Kind::summarizing, Kind::grouping,
                                               Kind::closing, Kind::done}));
        QCOMPARE(count(stored(), [](const SavedTab &t) { return !t.text.isEmpty(); }), 2);
        QCOMPARE(bridge.closeRequests(), (QList<QSet<QString>>{{server.address("/eins"), server.address("/keep/mail"),
                                                                 server.address("/zwei")}}));
        QCOMPARE(bridge.keepRequests(), QList<QStringList>{options.pinnedDomains});
        QCOMPARE(bridge.windows().value(0).tabs, windows[0].tabs.mid(1)); // the pinned tab stays
        QVERIFY(bridge.windows().value(1).tabs.isEmpty());
        const SleepStats stats = outcome.stage.stats;
        QCOMPARE(QList<int>({stats.tabs, stats.groups, stats.newTabs, stats.closed}), QList<int>({3, 2, 3, 2}));
    }

    // A run that fails closes nothing it has not saved; what it saved stays.
    void failures_data()
    {
        QTest::addColumn<int>("situation");
        QTest::addColumn<QList<Kind>>("end");   // the last stages
        QTest::addColumn<QString>("message");   // empty: any
        QTest::addColumn<int>("saved");          // tabs in the file afterwards
        const QList<Kind> early{Kind::reading, Kind::failed}, unsaved{Kind::grouping, Kind::failed};
        const QList<Kind> closing{Kind::closing, Kind::failed};
        const QString notRunning = SafariError::notRunning().errorDescription();
        const QString refused = SafariError::permissionDenied().errorDescription();
        QTest::newRow("browser refuses") << 0 << early << refused << 0;
        QTest::newRow("no bridge") << 1 << early << notRunning << 0;
        QTest::newRow("windows without tabs") << 2 << early << QString() << 0;
        QTest::newRow("write fails") << 3 << unsaved << QString() << 0;
        QTest::newRow("address missing on read-back") << 4 << unsaved << QString() << 2;
        QTest::newRow("browser quits after the snapshot") << 5 << closing << notRunning << 2;
        QTest::newRow("browser refuses to close") << 6 << closing << refused << 2;
    }

    void failures()
    {
        QFETCH(int, situation);
        QFETCH(QList<Kind>, end);
        QFETCH(QString, message);
        QFETCH(int, saved);
        FakeBrowserBridge bridge;
        const QList<SafariWindow> windows = browser(situation == 2 ? QList<QStringList>{{}, {}}
                                                                   : QList<QStringList>{{u"https://a.ch/"_s, u"https://b.ch/"_s}});
        bridge.setWindows(windows);
        if (situation == 0)
            bridge.failWith(SafariError::permissionDenied());
        if (situation == 3) // a file where the library's folder should be; permissions do not stop root
            QVERIFY(TestSupport::writeFile(m_dir->filePath(QStringLiteral("Pellmora")), "kein Ordner"));
        if (situation == 5)
            bridge.failAfter(FakeBrowserBridge::Call::Snapshot, SafariError::notRunning());
        if (situation == 6)
            bridge.failOn(FakeBrowserBridge::Call::Close, SafariError::permissionDenied());
        HidingAccess access(libraryPath());
        if (situation == 4)
            access.hidden = u"https://b.ch/"_s;
        QList<SleepStage> stages;
        const SleepRun::Outcome outcome =
            run(access, situation == 1 ? nullptr : &bridge, SleepOptions{true, false, false, false, {}}, false, &stages);
        QCOMPARE(outcome.stage.kind, Kind::failed);
        QVERIFY(!outcome.stage.message.isEmpty());
        if (!message.isEmpty())
            QCOMPARE(outcome.stage.message, message);
        QCOMPARE(kindsOf(stages).last(2), end);
        // Neither the content nor topics were asked for.
        QVERIFY(!kindsOf(stages).contains(Kind::fetching) && outcome.data.topics.isEmpty());
        QVERIFY(bridge.closeRequests().isEmpty());
        QCOMPARE(bridge.windows(), windows);
        QCOMPARE(stored().tabs.size(), saved);
    }

    void stopKeepsWhatWasSaved()
    {
        FakeBrowserBridge bridge;
        bridge.setWindows(DemoData::safariSnapshot());
        StoreLibraryAccess access{LibraryStore(libraryPath())};
        std::stop_source stop;
        QList<SleepStage> stages;
        const SleepRun::Outcome outcome = run(access, &bridge, SleepOptions{true, true, false, false, {}}, false,
                                              &stages, &stop);
        QVERIFY(outcome.cancelled);
        QCOMPARE(outcome.stage, SleepStage::idle());
        QCOMPARE(stages.last(), SleepStage::summarizing(10, 52)); // nothing reported after the stop
        QVERIFY(bridge.closeRequests().isEmpty());
        const LibraryData saved = stored();
        QCOMPARE(saved.tabs.size(), 52);
        QCOMPARE(count(saved, [](const SavedTab &t) { return !t.summary.isEmpty(); }), 10);
        QVERIFY(saved.topics.isEmpty());
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestSleepRun)
#include "TestSleepRun.moc"
