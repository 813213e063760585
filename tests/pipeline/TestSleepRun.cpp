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

QSet<QString> addressesOf(const QList<SafariWindow> &windows)
{
    QSet<QString> urls;
    for (const SafariWindow &window : windows)
        for (const SafariTab &tab : window.tabs)
            urls.insert(tab.url);
    return urls;
}

QStringList urlsOf(const LibraryData &data, const QList<QUuid> &ids)
{
    QStringList urls;
    for (const QUuid &id : ids)
        urls.append(data.tab(id).value_or(SavedTab()).url);
    return urls;
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

// Writes through to the file and keeps what each write held; can hide an
// address from the read-back, as a broken disk would.
class RecordingAccess final : public LibraryAccess
{
public:
    explicit RecordingAccess(const QString &path) : m_inner(LibraryStore(path)) {}
    QList<LibraryData> writes;
    QString hideOnReadBack;

    LibraryData current() override { return m_inner.current(); }
    Status write(const LibraryData &data) override
    {
        const Status status = m_inner.write(data);
        if (status)
            writes.append(data);
        return status;
    }
    Result<LibraryData> readBack() override
    {
        Result<LibraryData> stored = m_inner.readBack();
        if (!stored)
            return stored;
        LibraryData data = std::move(stored).value();
        data.tabs.removeIf([&](const SavedTab &tab) { return tab.url == hideOnReadBack; });
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

    void addSnapshot_data()
    {
        QTest::addColumn<QStringList>("known");
        QTest::addColumn<int>("windowsBefore");
        QTest::addColumn<QList<QStringList>>("windows");
        QTest::addColumn<bool>("byWindow");
        QTest::addColumn<QStringList>("titles");            // of the windows added
        QTest::addColumn<QList<QStringList>>("windowUrls"); // the tabs of each added window
        const QString a = u"https://a.ch/"_s, b = u"https://b.ch/x"_s, c = u"https://c.ch/?q=1"_s, d = u"https://d.ch"_s;
        const auto window = [](int n) { return QStringLiteral("Fenster %1 · 16.11. 20:31").arg(n); };
        QTest::newRow("new library, two windows") << QStringList() << 0 << QList<QStringList>{{a, b}, {c}} << true
                                                  << QStringList{window(1), window(2)} << QList<QStringList>{{a, b}, {c}};
        QTest::newRow("every address known") << QStringList{a, b} << 1 << QList<QStringList>{{a}, {b, a}} << true
                                             << QStringList() << QList<QStringList>();
        QTest::newRow("every address known, no collection window")
            << QStringList{a, b} << 1 << QList<QStringList>{{a}, {b}} << false << QStringList() << QList<QStringList>();
        QTest::newRow("address in two windows saved in the first")
            << QStringList() << 0 << QList<QStringList>{{a, b}, {b, c}} << true << QStringList{window(1), window(2)}
            << QList<QStringList>{{a, b}, {c}};
        QTest::newRow("address twice in one window") << QStringList() << 0 << QList<QStringList>{{a, a, b}} << true
                                                     << QStringList{window(1)} << QList<QStringList>{{a, b}};
        QTest::newRow("window without new tabs leaves a gap")
            << QStringList{b} << 4 << QList<QStringList>{{a}, {b}, {c}} << true << QStringList{window(5), window(7)}
            << QList<QStringList>{{a}, {c}};
        QTest::newRow("collection window holds every window's tabs")
            << QStringList{b} << 4 << QList<QStringList>{{a}, {b}, {c, d}} << false
            << QStringList{u"Sammlung · 16.11. 20:31"_s} << QList<QStringList>{{a, c, d}};
        QTest::newRow("address compared as exact text") << QStringList{u"https://A.ch/"_s} << 1
                                                        << QList<QStringList>{{a}} << true << QStringList{window(2)}
                                                        << QList<QStringList>{{a}};
    }

    void addSnapshot()
    {
        QFETCH(QStringList, known);
        QFETCH(int, windowsBefore);
        QFETCH(QList<QStringList>, windows);
        QFETCH(bool, byWindow);
        QFETCH(QStringList, titles);
        QFETCH(QList<QStringList>, windowUrls);
        LibraryBuilder builder(runTime.addDays(-3));
        for (int w = 0; w < windowsBefore; ++w)
            builder.window();
        for (const QString &url : known)
            builder.tab(url, url).summary(u"Schon da."_s);
        const LibraryData before = builder;
        SleepOptions options;
        options.groupByWindow = byWindow;
        const SleepPipeline::Added added = SleepPipeline::addSnapshot(browser(windows), before, options, false, runTime);

        // What was there stays as it was, in front; the new tabs follow in the order saved.
        const LibraryData &d = added.data;
        QCOMPARE(d.tabs.first(before.tabs.size()), before.tabs);
        QCOMPARE(d.windows.first(before.windows.size()), before.windows);
        QCOMPARE(d.tabs.size() - before.tabs.size(), added.newIds.size());
        QStringList gotTitles, newUrls;
        QList<QStringList> gotUrls;
        for (const SavedWindow &window : d.windows.mid(before.windows.size())) {
            gotTitles.append(window.title);
            gotUrls.append(urlsOf(d, window.tabIds));
            newUrls += gotUrls.last();
            QCOMPARE(window.savedAt, runTime);
            for (const QUuid &id : window.tabIds)
                QCOMPARE(d.tab(id)->windowId, window.id);
        }
        QCOMPARE(gotTitles, titles);
        QCOMPARE(gotUrls, windowUrls);
        QCOMPARE(urlsOf(d, added.newIds), newUrls);
        for (const SavedTab &tab : d.tabs.mid(before.tabs.size()))
            QVERIFY(added.newIds.contains(tab.id));
    }

    // A new tab keeps its place in the browser; pinned tabs are saved all the same.
    void newTabsKeepTheirPlace()
    {
        const QList<SafariWindow> windows = {SafariWindow{3, {SafariTab{u"Eins"_s, u"https://www.Beispiel.ch/a"_s, 2}}},
                                             SafariWindow{5, {SafariTab{u"Zwei"_s, u"https://zwei.ch/"_s, 7}}}};
        SleepOptions options;
        options.keepPinned = true;
        options.pinnedDomains = {u"beispiel.ch"_s};
        const LibraryData d = SleepPipeline::addSnapshot(windows, LibraryData(), options, false, runTime).data;
        QCOMPARE(d.tabs.size(), 2);
        QCOMPARE(d.tabs[0].domain, u"beispiel.ch"_s);
        QCOMPARE(QList<qint64>({d.tabs[0].windowIndex, d.tabs[0].tabIndex, d.tabs[1].windowIndex, d.tabs[1].tabIndex}),
                 QList<qint64>({3, 2, 5, 7}));
        QVERIFY(!d.tabs[0].isDemo && d.tabs[0].text.isEmpty() && !d.tabs[0].topicId && d.tabs[0].id != d.tabs[1].id);
    }

    // Only listed tabs without text are fetched; a page that fails stays empty.
    void fetchTexts()
    {
        LocalHttpServer server;
        server.route("/a", LocalHttpServer::page("<html><body><p>Inhalt von A</p></body></html>"));
        server.route("/fehlt", LocalHttpServer::Response{404, {}, "weg", 0});
        server.route("/hat", LocalHttpServer::page("<p>Neu</p>"));
        server.route("/fremd", LocalHttpServer::page("<p>Fremd</p>"));
        const LibraryData data = LibraryBuilder()
                                     .tab(u"A"_s, server.address("/a"))
                                     .tab(u"F"_s, server.address("/fehlt"))
                                     .tab(u"H"_s, server.address("/hat")).text(u"Alter Text"_s)
                                     .tab(u"X"_s, server.address("/fremd"));
        QList<int> reports;
        QMutex mutex;
        const LibraryData out = m_pipeline->fetchTexts(
            data, {LibraryBuilder::tabId(1), LibraryBuilder::tabId(2), LibraryBuilder::tabId(3)},
            [&](int done, int total) {
                QMutexLocker lock(&mutex);
                reports.append(done * 10 + total);
            });
        LibraryData expected = data;
        expected.tabs[0].text = u"Inhalt von A"_s;
        QCOMPARE(out, expected);
        QCOMPARE(server.requestCount("/hat") + server.requestCount("/fremd"), 0);
        QCOMPARE(reports.size(), 2);
        QCOMPARE(reports.last(), 22); // 2 of 2
    }

    // Listed tabs without a summary get one; tags the user set stay.
    void summarizeKeepsTagsAndSkipsSummarised()
    {
        const LibraryData data =
            LibraryBuilder()
                .tab(u"Wanderwege im Jura"_s).tags({u"eigen"_s})
                .text(u"Die schönsten Wanderwege im Jura führen über Weiden und Wälder. Wanderwege sind gut markiert."_s)
                .tab(u"Kameras im Vergleich"_s)
                .text(u"Spiegellose Kameras im Vergleich: Sensoren, Objektive, Kameras für Reisen."_s)
                .tab(u"Fertig"_s).text(u"Text"_s).summary(u"Schon zusammengefasst."_s)
                .tab(u"Nicht gewählt"_s).text(u"Noch ein Text über Dinge."_s);
        QList<int> reports;
        const LibraryData out = m_pipeline->summarize(
            data, {LibraryBuilder::tabId(1), LibraryBuilder::tabId(2), LibraryBuilder::tabId(3)},
            [&](int done, int total) { reports.append(done * 10 + total); });
        QVERIFY(!out.tabs[0].summary.isEmpty());
        QCOMPARE(out.tabs[0].tags, QStringList{u"eigen"_s});
        QVERIFY(!out.tabs[1].summary.isEmpty() && !out.tabs[1].tags.isEmpty());
        QCOMPARE(out.tabs.mid(2), data.tabs.mid(2));
        QCOMPARE(reports, (QList<int>{12, 22}));
    }

    void optionsNeedEveryKey_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<bool>("ok");
        const QByteArray full = R"({"groupByWindow":false,"sortByTopic":true,"saveContent":false,)"
                                R"("keepPinned":true,"pinnedDomains":["a.ch"]})";
        QTest::newRow("complete, extra key") << QByteArray(full).replace("{", R"({"x":1,)") << true;
        QTest::newRow("no keepPinned") << QByteArray(full).replace(R"("keepPinned":true,)", "") << false;
        QTest::newRow("no pinnedDomains") << QByteArray(full).replace(R"(,"pinnedDomains":["a.ch"])", "") << false;
        QTest::newRow("flag as text") << QByteArray(full).replace("false", "\"false\"") << false;
        QTest::newRow("domain not text") << QByteArray(full).replace(R"(["a.ch"])", "[1]") << false;
    }

    void optionsNeedEveryKey()
    {
        QFETCH(QByteArray, json);
        QFETCH(bool, ok);
        const Result<SleepOptions> decoded = SleepOptions::decode(json);
        QCOMPARE(decoded.ok(), ok);
        if (ok) {
            const SleepOptions expected{false, true, false, true, {u"a.ch"_s}};
            QCOMPARE(*decoded, expected);
            QCOMPARE(*SleepOptions::decode(expected.encode()), expected);
        }
    }

    void demoRunSavesStepByStepAndClosesNothing()
    {
        RecordingAccess access(libraryPath());
        FakeBrowserBridge bridge;
        const QList<SafariWindow> open = browser({{u"https://offen.ch/"_s}});
        bridge.setWindows(open);
        QList<SleepStage> stages;
        const SleepRun::Outcome outcome = run(access, &bridge, SleepOptions(), true, &stages);

        QCOMPARE(kindsOf(stages), (QList<Kind>{Kind::reading, Kind::summarizing, Kind::grouping, Kind::done}));
        QCOMPARE(stages.last(), outcome.stage);
        QCOMPARE(stages.at(1), SleepStage::summarizing(0, 52));
        QCOMPARE(stages.at(stages.size() - 3), SleepStage::summarizing(52, 52));
        const SleepStats stats = outcome.stage.stats;
        QCOMPARE(QList<int>({stats.tabs, stats.groups, stats.newTabs, stats.closed}), QList<int>({52, 3, 52, 0}));
        QVERIFY(stats.topics >= 1);
        // Written after adding, after summarising and after grouping.
        QCOMPARE(access.writes.size(), 3);
        QCOMPARE(count(access.writes[0], [](const SavedTab &t) { return t.isDemo && t.summary.isEmpty(); }), 52);
        QCOMPARE(count(access.writes[1], [](const SavedTab &t) { return !t.summary.isEmpty(); }), 52);
        QVERIFY(access.writes[1].topics.isEmpty());
        QVERIFY(access.writes[2].topics.size() >= 2);
        QCOMPARE(stored(), outcome.data);
        QVERIFY(bridge.closeRequests().isEmpty());
        QCOMPARE(bridge.windows(), open);

        // A second run finds every address saved.
        RecordingAccess again(libraryPath());
        const SleepRun::Outcome second = run(again, &bridge, SleepOptions(), true);
        QCOMPARE(second.stage.kind, Kind::done);
        QCOMPARE(second.stage.stats.newTabs, 0);
        QCOMPARE(stored().tabs.size(), 52);
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
        RecordingAccess access(libraryPath());
        SleepOptions options;
        options.keepPinned = true;
        options.pinnedDomains = {u"/keep/"_s};
        QList<SleepStage> stages;
        const SleepRun::Outcome outcome = run(access, &bridge, options, false, &stages);

        QCOMPARE(kindsOf(stages), (QList<Kind>{Kind::reading, Kind::fetching, Kind::summarizing, Kind::grouping,
                                               Kind::closing, Kind::done}));
        QCOMPARE(stages.at(1), SleepStage::fetching(0, 3));
        QVERIFY(stages.contains(SleepStage::fetching(3, 3)));
        QCOMPARE(access.writes.size(), 4);
        QCOMPARE(count(access.writes[1], [](const SavedTab &t) { return !t.text.isEmpty(); }), 2);
        QCOMPARE(bridge.closeRequests(), QList<QSet<QString>>{addressesOf(windows)});
        QCOMPARE(bridge.keepRequests(), QList<QStringList>{options.pinnedDomains});
        QCOMPARE(addressesOf(bridge.windows()), QSet<QString>{server.address("/keep/mail")});
        const SleepStats stats = outcome.stage.stats;
        QCOMPARE(QList<int>({stats.tabs, stats.groups, stats.newTabs, stats.closed}), QList<int>({3, 2, 3, 2}));
    }

    void withoutContentOrTopicsNothingIsFetched()
    {
        LocalHttpServer server;
        FakeBrowserBridge bridge;
        bridge.setWindows(browser({{server.address("/eins")}, {server.address("/zwei")}}));
        RecordingAccess access(libraryPath());
        const SleepOptions options{false, false, false, false, {}};
        QList<SleepStage> stages;
        const SleepRun::Outcome outcome = run(access, &bridge, options, false, &stages);
        QCOMPARE(outcome.stage.kind, Kind::done);
        QVERIFY(!kindsOf(stages).contains(Kind::fetching));
        QVERIFY(server.requests().isEmpty());
        QCOMPARE(outcome.stage.stats.closed, 2);
        QVERIFY(outcome.data.topics.isEmpty());
        QCOMPARE(outcome.data.windows.size(), 1);
    }

    // Without tabs to save the run ends before writing anything.
    void failuresBeforeSaving_data()
    {
        QTest::addColumn<int>("situation");
        QTest::addColumn<QString>("message"); // empty: any
        QTest::newRow("browser refuses") << 0 << SafariError::permissionDenied().errorDescription();
        QTest::newRow("browser not running") << 1 << SafariError::notRunning().errorDescription();
        QTest::newRow("no bridge") << 2 << SafariError::notRunning().errorDescription();
        QTest::newRow("windows without tabs") << 3 << QString();
    }

    void failuresBeforeSaving()
    {
        QFETCH(int, situation);
        QFETCH(QString, message);
        FakeBrowserBridge bridge;
        bridge.setWindows(situation == 3 ? browser({{}, {}}) : browser({{u"https://a.ch/"_s}}));
        if (situation < 2)
            bridge.failWith(situation == 0 ? SafariError::permissionDenied() : SafariError::notRunning());
        RecordingAccess access(libraryPath());
        QList<SleepStage> stages;
        const SleepRun::Outcome outcome = run(access, situation == 2 ? nullptr : &bridge, SleepOptions(), false, &stages);
        QCOMPARE(outcome.stage.kind, Kind::failed);
        QVERIFY(!outcome.stage.message.isEmpty());
        if (!message.isEmpty())
            QCOMPARE(outcome.stage.message, message);
        QCOMPARE(stages, (QList<SleepStage>{SleepStage::reading(), outcome.stage}));
        QVERIFY(!QFile::exists(libraryPath()));
    }

    // The tab is the user's only other copy: it closes only once its address
    // has been read back from the file.
    void nothingClosesUnlessSaved_data()
    {
        QTest::addColumn<bool>("writeFails");
        QTest::newRow("write fails") << true;
        QTest::newRow("address missing on read-back") << false;
    }

    void nothingClosesUnlessSaved()
    {
        QFETCH(bool, writeFails);
        if (writeFails) // a file where the library's folder should be; permissions do not stop root
            QVERIFY(TestSupport::writeFile(m_dir->filePath(QStringLiteral("Pellmora")), "kein Ordner"));
        RecordingAccess access(libraryPath());
        access.hideOnReadBack = u"https://b.ch/"_s;
        FakeBrowserBridge bridge;
        const QList<SafariWindow> windows = browser({{u"https://a.ch/"_s, u"https://b.ch/"_s}});
        bridge.setWindows(windows);
        QList<SleepStage> stages;
        const SleepRun::Outcome outcome = run(access, &bridge, SleepOptions{true, true, false, false, {}}, false, &stages);
        QCOMPARE(outcome.stage.kind, Kind::failed);
        QVERIFY(!outcome.stage.message.isEmpty());
        QVERIFY(!kindsOf(stages).contains(Kind::closing));
        QVERIFY(bridge.closeRequests().isEmpty());
        QCOMPARE(bridge.windows(), windows);
        QCOMPARE(stored().tabs.size(), writeFails ? 0 : 2); // what was saved stays saved
    }

    void browserFailingAtTheEndKeepsTheLibrary_data()
    {
        QTest::addColumn<bool>("quits");
        QTest::newRow("browser quits after the snapshot") << true;
        QTest::newRow("browser refuses to close") << false;
    }

    void browserFailingAtTheEndKeepsTheLibrary()
    {
        QFETCH(bool, quits);
        FakeBrowserBridge bridge;
        bridge.setWindows(browser({{u"https://a.ch/"_s}}));
        if (quits)
            bridge.failAfter(FakeBrowserBridge::Call::Snapshot, SafariError::notRunning());
        else
            bridge.failOn(FakeBrowserBridge::Call::Close, SafariError::permissionDenied());
        RecordingAccess access(libraryPath());
        QList<SleepStage> stages;
        const SleepRun::Outcome outcome = run(access, &bridge, SleepOptions{true, true, false, false, {}}, false, &stages);
        const SafariError error = quits ? SafariError::notRunning() : SafariError::permissionDenied();
        QCOMPARE(outcome.stage, SleepStage::failed(error.errorDescription()));
        QCOMPARE(kindsOf(stages).last(2), (QList<Kind>{Kind::closing, Kind::failed}));
        QCOMPARE(stored().tabs.size(), 1);
        QCOMPARE(bridge.windows().value(0).tabs.size(), 1);
    }

    void stopKeepsWhatWasSaved()
    {
        FakeBrowserBridge bridge;
        bridge.setWindows(DemoData::safariSnapshot());
        RecordingAccess access(libraryPath());
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

    // The application's run writes through its live library from a worker thread.
    void liveLibraryFromAWorkerThread()
    {
        Library library{LibraryStore(libraryPath())};
        QSignalSpy changes(&library, &Library::dataChanged);
        LiveLibraryAccess access(&library);
        SleepRun::Outcome outcome;
        std::unique_ptr<QThread> worker(QThread::create([&] { outcome = run(access, nullptr, SleepOptions(), true); }));
        QSignalSpy finished(worker.get(), &QThread::finished);
        worker->start();
        QVERIFY(finished.wait(60000));
        QCOMPARE(outcome.stage.kind, Kind::done);
        QCOMPARE(changes.size(), 3);
        QCOMPARE(library.data(), outcome.data);
        QCOMPARE(stored(), outcome.data);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestSleepRun)
#include "TestSleepRun.moc"
