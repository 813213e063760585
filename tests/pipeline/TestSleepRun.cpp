#include "SleepRun.h"

#include "DemoData.h"
#include "Embedder.h"
#include "FakeBrowserBridge.h"
#include "FakeClock.h"
#include "Library.h"
#include "LiveLibraryAccess.h"
#include "LocalHttpServer.h"
#include "SleepPipeline.h"
#include "StoreLibraryAccess.h"
#include "TestSupport.h"
#include "PlatformWords.h"

#include <QEventLoop>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <memory>
#include "TestRegistry.h"

using Kind = SleepStage::Kind;

namespace {

// What the file held after one write of a run.
struct WriteRecord
{
    bool ok = false;
    qsizetype tabs = 0;
    qsizetype summarised = 0;
    qsizetype withText = 0;
    qsizetype topics = 0;
};

// Passes everything on to the file and notes what each write left in it;
// can hide one address from the read-back, as a broken disk would.
class RecordingAccess final : public LibraryAccess
{
public:
    explicit RecordingAccess(const QString &path) : m_inner(LibraryStore(path)), m_store(path) {}

    QList<WriteRecord> writes;
    QString hideOnReadBack;

    LibraryData current() override { return m_inner.current(); }

    Status write(const LibraryData &data) override
    {
        const Status status = m_inner.write(data);
        WriteRecord record;
        record.ok = status.ok();
        if (status) {
            const LibraryData stored = m_store.load();
            record.tabs = stored.tabs.size();
            for (const SavedTab &tab : stored.tabs) {
                record.summarised += tab.summary.isEmpty() ? 0 : 1;
                record.withText += tab.text.isEmpty() ? 0 : 1;
            }
            record.topics = stored.topics.size();
        }
        writes.append(record);
        return status;
    }

    Result<LibraryData> readBack() override
    {
        Result<LibraryData> stored = m_inner.readBack();
        if (!stored || hideOnReadBack.isEmpty())
            return stored;
        LibraryData data = std::move(stored).value();
        data.tabs.removeIf([&](const SavedTab &tab) { return tab.url == hideOnReadBack; });
        return data;
    }

private:
    StoreLibraryAccess m_inner;
    LibraryStore m_store;
};

QList<SafariWindow> browserWindows(const LocalHttpServer &server)
{
    return {SafariWindow{1,
                         {SafariTab{QStringLiteral("Eins"), server.address("/eins"), 1},
                          SafariTab{QStringLiteral("Behalten"), server.address("/keep/mail"), 2}}},
            SafariWindow{2, {SafariTab{QStringLiteral("Zwei"), server.address("/zwei"), 1}}}};
}

QSet<QString> addressesOf(const QList<SafariWindow> &windows)
{
    QSet<QString> urls;
    for (const SafariWindow &window : windows)
        for (const SafariTab &tab : window.tabs)
            urls.insert(tab.url);
    return urls;
}

QList<Kind> kindsOf(const QList<SleepStage> &stages)
{
    QList<Kind> kinds;
    for (const SleepStage &stage : stages)
        if (kinds.isEmpty() || kinds.last() != stage.kind)
            kinds.append(stage.kind);
    return kinds;
}

} // namespace

class TestSleepRun : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<SleepPipeline> m_pipeline;
    FakeClock m_clock;

    QString libraryPath() const { return m_dir->filePath(QStringLiteral("Pellmora/library.json")); }

    SleepRun::Outcome run(LibraryAccess &access, BrowserBridge *bridge, const SleepOptions &options, bool demo,
                          QList<SleepStage> *stages = nullptr, std::stop_token stop = {})
    {
        const SleepRun sleep(*m_pipeline, access, bridge, m_clock);
        return sleep.run(options, demo, [&](const SleepStage &stage) {
            if (stages)
                stages->append(stage);
        }, stop);
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

    void demoRunSavesGroupsAndClosesNothing()
    {
        RecordingAccess access(libraryPath());
        FakeBrowserBridge bridge;
        const QList<SafariWindow> open = {SafariWindow{1, {SafariTab{"Offen", "https://offen.ch/", 1}}}};
        bridge.setWindows(open);
        QList<SleepStage> stages;
        const SleepRun::Outcome outcome = run(access, &bridge, SleepOptions(), true, &stages);

        QCOMPARE(outcome.stage.kind, Kind::done);
        QVERIFY(!outcome.cancelled);
        QCOMPARE(kindsOf(stages), (QList<Kind>{Kind::reading, Kind::summarizing, Kind::grouping, Kind::done}));
        QCOMPARE(stages.last(), outcome.stage);
        QCOMPARE(stages.at(1), SleepStage::summarizing(0, 52));
        QCOMPARE(stages.at(stages.size() - 3), SleepStage::summarizing(52, 52));

        const SleepStats stats = outcome.stage.stats;
        QCOMPARE(stats.tabs, 52);
        QCOMPARE(stats.groups, 3);
        QCOMPARE(stats.newTabs, 52);
        QCOMPARE(stats.closed, 0);
        QVERIFY(stats.topics >= 1);
        QVERIFY(outcome.stage.label().startsWith(QStringLiteral("52 Tabs schlafen, 3 Gruppen, ")));

        // Written after adding, after summarising and after grouping.
        QCOMPARE(access.writes.size(), 3);
        QCOMPARE(access.writes[0].tabs, 52);
        QCOMPARE(access.writes[0].summarised, 0);
        QCOMPARE(access.writes[0].topics, 0);
        QCOMPARE(access.writes[1].summarised, 52);
        QCOMPARE(access.writes[1].topics, 0);
        QVERIFY(access.writes[2].topics >= 2);

        const LibraryData stored = LibraryStore(libraryPath()).load();
        QCOMPARE(stored, outcome.data);
        QCOMPARE(stored.windows.size(), 3);
        QCOMPARE(bridge.closeRequests().size(), 0);
        QCOMPARE(bridge.windows(), open);

        // A second run finds every address saved.
        RecordingAccess again(libraryPath());
        const SleepRun::Outcome second = run(again, &bridge, SleepOptions(), true);
        QCOMPARE(second.stage.kind, Kind::done);
        QCOMPARE(second.stage.stats.newTabs, 0);
        QCOMPARE(second.stage.stats.tabs, 52);
        QCOMPARE(LibraryStore(libraryPath()).load().tabs.size(), 52);
    }

    void runClosesSavedTabsKeepingPinned()
    {
        LocalHttpServer server;
        server.route("/eins", LocalHttpServer::page("<p>Text eins</p>"));
        server.route("/zwei", LocalHttpServer::page("<p>Text zwei</p>"));
        FakeBrowserBridge bridge;
        const QList<SafariWindow> windows = browserWindows(server);
        bridge.setWindows(windows);
        RecordingAccess access(libraryPath());
        SleepOptions options;
        options.keepPinned = true;
        options.pinnedDomains = {QStringLiteral("/keep/")};

        QList<SleepStage> stages;
        const SleepRun::Outcome outcome = run(access, &bridge, options, false, &stages);

        QCOMPARE(outcome.stage.kind, Kind::done);
        QCOMPARE(kindsOf(stages), (QList<Kind>{Kind::reading, Kind::fetching, Kind::summarizing, Kind::grouping,
                                               Kind::closing, Kind::done}));
        QCOMPARE(stages.at(1), SleepStage::fetching(0, 3));
        QVERIFY(stages.contains(SleepStage::fetching(3, 3)));
        QCOMPARE(access.writes.size(), 4);
        QCOMPARE(access.writes[1].withText, 2);
        QCOMPARE(bridge.closeRequests(), QList<QSet<QString>>{addressesOf(windows)});
        QCOMPARE(bridge.keepRequests(), QList<QStringList>{options.pinnedDomains});
        QCOMPARE(addressesOf(bridge.windows()), QSet<QString>{server.address("/keep/mail")});

        SleepStats expected;
        expected.tabs = 3;
        expected.groups = 2;
        expected.newTabs = 3;
        expected.closed = 2;
        expected.topics = outcome.stage.stats.topics;
        QCOMPARE(outcome.stage.stats, expected);
    }

    void withoutContentNothingIsFetched()
    {
        LocalHttpServer server;
        FakeBrowserBridge bridge;
        bridge.setWindows(browserWindows(server));
        RecordingAccess access(libraryPath());
        SleepOptions options;
        options.saveContent = false;
        options.groupByWindow = false;
        options.sortByTopic = false;
        QList<SleepStage> stages;
        const SleepRun::Outcome outcome = run(access, &bridge, options, false, &stages);
        QCOMPARE(outcome.stage.kind, Kind::done);
        QVERIFY(!kindsOf(stages).contains(Kind::fetching));
        QVERIFY(server.requests().isEmpty());
        QCOMPARE(outcome.stage.stats.groups, 1);
        QCOMPARE(outcome.stage.stats.topics, 0);
        QCOMPARE(outcome.stage.stats.closed, 3);
        QVERIFY(outcome.data.topics.isEmpty());
        QCOMPARE(outcome.data.windows.size(), 1);
        QVERIFY(outcome.data.windows[0].title.startsWith(QStringLiteral("Sammlung · ")));
    }

    void failures_data()
    {
        QTest::addColumn<int>("situation");
        QTest::addColumn<QString>("message");
        QTest::newRow("browser refuses") << 0 << SafariError::permissionDenied().errorDescription();
        QTest::newRow("browser not running") << 1 << SafariError::notRunning().errorDescription();
        QTest::newRow("no bridge") << 2 << SafariError::notRunning().errorDescription();
        QTest::newRow("windows without tabs") << 3 << PlatformWords::emptyBrowser({});
    }

    void failures()
    {
        QFETCH(int, situation);
        QFETCH(QString, message);
        FakeBrowserBridge bridge;
        bridge.setWindows({SafariWindow{1, {SafariTab{"A", "https://a.ch/", 1}}}});
        if (situation == 0)
            bridge.failWith(SafariError::permissionDenied());
        if (situation == 1)
            bridge.failWith(SafariError::notRunning());
        if (situation == 3)
            bridge.setWindows({SafariWindow{1, {}}, SafariWindow{2, {}}});
        RecordingAccess access(libraryPath());
        QList<SleepStage> stages;
        const SleepRun::Outcome outcome = run(access, situation == 2 ? nullptr : &bridge, SleepOptions(), false, &stages);
        QCOMPARE(outcome.stage, SleepStage::failed(message));
        QCOMPARE(stages, (QList<SleepStage>{SleepStage::reading(), SleepStage::failed(message)}));
        QVERIFY(access.writes.isEmpty());
        QVERIFY(!QFile::exists(libraryPath()));
    }

    void failedWriteClosesNothing()
    {
        // Tests run as root, so a read-only folder would not stop the write;
        // a file where the library's folder should be does.
        QVERIFY(TestSupport::writeFile(m_dir->filePath(QStringLiteral("Pellmora")), "kein Ordner"));
        StoreLibraryAccess access{LibraryStore(libraryPath())};
        FakeBrowserBridge bridge;
        const QList<SafariWindow> windows = {SafariWindow{1, {SafariTab{"A", "https://a.ch/", 1},
                                                               SafariTab{"B", "https://b.ch/", 2}}}};
        bridge.setWindows(windows);
        SleepOptions options;
        options.saveContent = false;
        QList<SleepStage> stages;
        const SleepRun::Outcome outcome = run(access, &bridge, options, false, &stages);

        QCOMPARE(outcome.stage.kind, Kind::failed);
        QVERIFY(!access.lastError().isEmpty());
        QCOMPARE(outcome.stage.message, access.lastError());
        QCOMPARE(outcome.stage.message.count(QStringLiteral("Speichern fehlgeschlagen")), 1);
        QVERIFY(!kindsOf(stages).contains(Kind::closing));
        QVERIFY(bridge.closeRequests().isEmpty());
        QCOMPARE(bridge.windows(), windows);
    }

    void addressMissingOnReadBackClosesNothing()
    {
        RecordingAccess access(libraryPath());
        access.hideOnReadBack = QStringLiteral("https://b.ch/");
        FakeBrowserBridge bridge;
        const QList<SafariWindow> windows = {SafariWindow{1, {SafariTab{"A", "https://a.ch/", 1},
                                                               SafariTab{"B", "https://b.ch/", 2}}}};
        bridge.setWindows(windows);
        SleepOptions options;
        options.saveContent = false;
        const SleepRun::Outcome outcome = run(access, &bridge, options, false);
        QCOMPARE(outcome.stage, SleepStage::failed(
                                    QStringLiteral("Speichern fehlgeschlagen: 1 Adresse fehlt in der gespeicherten Bibliothek.")));
        QVERIFY(bridge.closeRequests().isEmpty());
        QCOMPARE(bridge.windows(), windows);
        // What was saved stays saved.
        QCOMPARE(LibraryStore(libraryPath()).load().tabs.size(), 2);
    }

    void closingErrorEndsFailedKeepingTheLibrary()
    {
        // Refuses every call after the snapshot, as a browser quitting mid-run would.
        class QuittingBridge final : public BrowserBridge
        {
        public:
            FakeBrowserBridge inner;
            bool isSafariRunning() const override { return inner.isSafariRunning(); }
            SafariResult<QList<SafariWindow>> snapshotWindows() override
            {
                auto windows = inner.snapshotWindows();
                inner.failWith(SafariError::notRunning());
                return windows;
            }
            SafariResult<SafariTabCount> countTabs() override { return inner.countTabs(); }
            SafariResult<int> closeTabs(const QSet<QString> &urls, const QStringList &keep) override
            {
                return inner.closeTabs(urls, keep);
            }
            SafariStatus reopen(const QList<QUrl> &urls, bool newWindow) override
            {
                return inner.reopen(urls, newWindow);
            }
            void openWithWorkspace(const QList<QUrl> &urls) override { inner.openWithWorkspace(urls); }
        };
        QuittingBridge bridge;
        bridge.inner.setWindows({SafariWindow{1, {SafariTab{"A", "https://a.ch/", 1}}}});
        RecordingAccess access(libraryPath());
        SleepOptions options;
        options.saveContent = false;
        QList<SleepStage> stages;
        const SleepRun::Outcome outcome = run(access, &bridge, options, false, &stages);
        QCOMPARE(outcome.stage, SleepStage::failed(SafariError::notRunning().errorDescription()));
        QCOMPARE(kindsOf(stages).mid(kindsOf(stages).size() - 2), (QList<Kind>{Kind::closing, Kind::failed}));
        QCOMPARE(LibraryStore(libraryPath()).load().tabs.size(), 1);
    }

    void stopKeepsWhatWasSaved()
    {
        FakeBrowserBridge bridge;
        const QList<SafariWindow> windows = DemoData::safariSnapshot();
        bridge.setWindows(windows);
        RecordingAccess access(libraryPath());
        SleepOptions options;
        options.saveContent = false;
        std::stop_source source;
        QList<SleepStage> stages;
        const SleepRun sleep(*m_pipeline, access, &bridge, m_clock);
        const SleepRun::Outcome outcome = sleep.run(options, false, [&](const SleepStage &stage) {
            stages.append(stage);
            if (stage == SleepStage::summarizing(10, 52))
                source.request_stop();
        }, source.get_token());

        QVERIFY(outcome.cancelled);
        QCOMPARE(outcome.stage, SleepStage::idle());
        QCOMPARE(stages.last(), SleepStage::summarizing(10, 52));
        QVERIFY(bridge.closeRequests().isEmpty());
        const LibraryData stored = LibraryStore(libraryPath()).load();
        QCOMPARE(stored.tabs.size(), 52);
        qsizetype summarised = 0;
        for (const SavedTab &tab : stored.tabs)
            summarised += tab.summary.isEmpty() ? 0 : 1;
        QCOMPARE(summarised, 10);
        QVERIFY(stored.topics.isEmpty());
    }

    void liveLibraryFromAWorkerThread()
    {
        Library library{LibraryStore(libraryPath())};
        QSignalSpy changes(&library, &Library::dataChanged);
        LiveLibraryAccess access(&library);
        SleepRun::Outcome outcome;
        QList<SleepStage> stages;
        QThread *worker = QThread::create([&] {
            const SleepRun sleep(*m_pipeline, access, nullptr, m_clock);
            outcome = sleep.run(SleepOptions(), true, [&](const SleepStage &stage) { stages.append(stage); });
        });
        QEventLoop loop;
        connect(worker, &QThread::finished, &loop, &QEventLoop::quit);
        worker->start();
        loop.exec();
        worker->wait();
        delete worker;

        QCOMPARE(outcome.stage.kind, Kind::done);
        QCOMPARE(changes.size(), 3);
        QCOMPARE(library.data(), outcome.data);
        QCOMPARE(LibraryStore(libraryPath()).load(), outcome.data);
        QVERIFY(library.lastError().isEmpty());
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestSleepRun)
#include "TestSleepRun.moc"
