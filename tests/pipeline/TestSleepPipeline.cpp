#include "SleepPipeline.h"

#include "DemoData.h"
#include "Embedder.h"
#include "FakeClock.h"
#include "LocalHttpServer.h"

#include <QTest>

#include <memory>
#include "TestRegistry.h"

namespace {

QDateTime runTime()
{
    return QDateTime(QDate(2026, 11, 16), QTime(20, 31));
}

// A library holding the given addresses, and `windows` windows of its own.
LibraryData libraryWith(const QStringList &urls, int windows)
{
    LibraryData data;
    const QDateTime before = runTime().addDays(-3);
    for (int w = 0; w < windows; ++w)
        data.windows.append(SavedWindow{QUuid::createUuid(), before, SavedWindow::makeTitle(w + 1, before), {}});
    for (const QString &url : urls) {
        SavedTab tab;
        tab.id = QUuid::createUuid();
        tab.url = url;
        tab.title = url;
        tab.savedAt = before;
        tab.windowId = data.windows.isEmpty() ? QUuid() : data.windows.first().id;
        tab.summary = QStringLiteral("Schon da.");
        data.tabs.append(tab);
        if (!data.windows.isEmpty())
            data.windows.first().tabIds.append(tab.id);
    }
    return data;
}

// Browser windows numbered from 1, tabs numbered from 1 inside each.
QList<SafariWindow> snapshot(const QList<QStringList> &windows)
{
    QList<SafariWindow> result;
    for (qsizetype w = 0; w < windows.size(); ++w) {
        SafariWindow window;
        window.index = int(w + 1);
        for (qsizetype t = 0; t < windows[w].size(); ++t)
            window.tabs.append(SafariTab{QStringLiteral("Titel ") + windows[w][t], windows[w][t], int(t + 1)});
        result.append(window);
    }
    return result;
}

QStringList urlsOf(const LibraryData &data, const QList<QUuid> &ids)
{
    QStringList urls;
    for (const QUuid &id : ids)
        urls.append(data.tab(id).value_or(SavedTab()).url);
    return urls;
}

SavedTab plainTab(const QString &url, const QString &title, const QString &text)
{
    SavedTab tab;
    tab.id = QUuid::createUuid();
    tab.url = url;
    tab.title = title;
    tab.text = text;
    return tab;
}

} // namespace

class TestSleepPipeline : public QObject
{
    Q_OBJECT

private:
    SleepPipeline pipeline(PageFetcher fetcher = PageFetcher()) const
    {
        return SleepPipeline(std::make_shared<const Embedder>(false), std::move(fetcher));
    }

private Q_SLOTS:
    void addSnapshot_data()
    {
        QTest::addColumn<QStringList>("known");
        QTest::addColumn<int>("windowsBefore");
        QTest::addColumn<QList<QStringList>>("windows");
        QTest::addColumn<bool>("byWindow");
        QTest::addColumn<QStringList>("newUrls");
        QTest::addColumn<QStringList>("titles");        // of the windows added, in order
        QTest::addColumn<QList<QStringList>>("windowUrls"); // the tabs of each added window

        const QString a = QStringLiteral("https://a.ch/"), b = QStringLiteral("https://b.ch/x"),
                      c = QStringLiteral("https://c.ch/?q=1"), d = QStringLiteral("https://d.ch");
        const QString at = QStringLiteral(" · 16.11. 20:31");
        const QString collection = QStringLiteral("Sammlung · 16.11. 20:31");

        QTest::newRow("new library, two windows")
            << QStringList() << 0 << QList<QStringList>{{a, b}, {c}} << true << QStringList{a, b, c}
            << QStringList{"Fenster 1" + at, "Fenster 2" + at} << QList<QStringList>{{a, b}, {c}};
        QTest::newRow("every address known")
            << QStringList{a, b} << 1 << QList<QStringList>{{a}, {b, a}} << true << QStringList()
            << QStringList() << QList<QStringList>();
        QTest::newRow("every address known, no collection window")
            << QStringList{a, b} << 1 << QList<QStringList>{{a}, {b}} << false << QStringList()
            << QStringList() << QList<QStringList>();
        QTest::newRow("same address in two windows saved in the first")
            << QStringList() << 0 << QList<QStringList>{{a, b}, {b, c}} << true << QStringList{a, b, c}
            << QStringList{"Fenster 1" + at, "Fenster 2" + at} << QList<QStringList>{{a, b}, {c}};
        QTest::newRow("same address twice in one window")
            << QStringList() << 0 << QList<QStringList>{{a, a, b}} << true << QStringList{a, b}
            << QStringList{"Fenster 1" + at} << QList<QStringList>{{a, b}};
        QTest::newRow("window without new tabs leaves a gap")
            << QStringList{b} << 4 << QList<QStringList>{{a}, {b}, {c}} << true << QStringList{a, c}
            << QStringList{"Fenster 5" + at, "Fenster 7" + at} << QList<QStringList>{{a}, {c}};
        QTest::newRow("known and new mixed")
            << QStringList{a} << 2 << QList<QStringList>{{a, d}, {c, a}} << true << QStringList{d, c}
            << QStringList{"Fenster 3" + at, "Fenster 4" + at} << QList<QStringList>{{d}, {c}};
        QTest::newRow("collection window holds every window's tabs")
            << QStringList{b} << 4 << QList<QStringList>{{a}, {b}, {c, d}} << false << QStringList{a, c, d}
            << QStringList{collection} << QList<QStringList>{{a, c, d}};
        QTest::newRow("address compared as exact text")
            << QStringList{QStringLiteral("https://A.ch/")} << 0 << QList<QStringList>{{a}} << true
            << QStringList{a} << QStringList{"Fenster 1" + at} << QList<QStringList>{{a}};
        QTest::newRow("empty snapshot") << QStringList{a} << 1 << QList<QStringList>() << true << QStringList()
                                        << QStringList() << QList<QStringList>();
    }

    void addSnapshot()
    {
        QFETCH(QStringList, known);
        QFETCH(int, windowsBefore);
        QFETCH(QList<QStringList>, windows);
        QFETCH(bool, byWindow);
        QFETCH(QStringList, newUrls);
        QFETCH(QStringList, titles);
        QFETCH(QList<QStringList>, windowUrls);

        const LibraryData before = libraryWith(known, windowsBefore);
        SleepOptions options;
        options.groupByWindow = byWindow;
        const SleepPipeline::Added added =
            SleepPipeline::addSnapshot(snapshot(windows), before, options, false, runTime());

        QCOMPARE(urlsOf(added.data, added.newIds), newUrls);
        QCOMPARE(added.data.tabs.size(), before.tabs.size() + newUrls.size());
        // What was there stays as it was, in front.
        QCOMPARE(added.data.tabs.mid(0, before.tabs.size()), before.tabs);
        QCOMPARE(added.data.windows.mid(0, before.windows.size()), before.windows);
        QCOMPARE(added.data.topics, before.topics);
        QCOMPARE(added.data.embeddings, before.embeddings);

        const QList<SavedWindow> addedWindows = added.data.windows.mid(before.windows.size());
        QStringList gotTitles;
        QList<QStringList> gotUrls;
        for (const SavedWindow &window : addedWindows) {
            gotTitles.append(window.title);
            gotUrls.append(urlsOf(added.data, window.tabIds));
            QCOMPARE(window.savedAt, runTime());
            for (const QUuid &id : window.tabIds)
                QCOMPARE(added.data.tab(id)->windowId, window.id);
        }
        QCOMPARE(gotTitles, titles);
        QCOMPARE(gotUrls, windowUrls);
        // New tabs come at the end of the library in the order they were saved.
        QStringList tailUrls;
        for (const SavedTab &tab : added.data.tabs.mid(before.tabs.size()))
            tailUrls.append(tab.url);
        QCOMPARE(tailUrls, newUrls);
    }

    void newTabFields()
    {
        SafariWindow first{3, {SafariTab{QStringLiteral("Eins"), QStringLiteral("https://www.Beispiel.ch/a"), 2}}};
        SafariWindow second{5, {SafariTab{QStringLiteral("Zwei"), QStringLiteral("https://zwei.ch/"), 7}}};
        SleepOptions options;
        options.groupByWindow = false;
        options.keepPinned = true;
        options.pinnedDomains = {QStringLiteral("beispiel.ch")}; // pinned tabs are saved all the same
        const auto added = SleepPipeline::addSnapshot({first, second}, LibraryData(), options, false, runTime());

        QCOMPARE(added.data.windows.size(), 1);
        QCOMPARE(added.data.tabs.size(), 2);
        const SavedTab &one = added.data.tabs[0];
        QCOMPARE(one.title, QStringLiteral("Eins"));
        QCOMPARE(one.domain, QStringLiteral("beispiel.ch"));
        QCOMPARE(one.savedAt, runTime());
        QCOMPARE(one.windowIndex, 3);
        QCOMPARE(one.tabIndex, 2);
        QCOMPARE(added.data.tabs[1].windowIndex, 5);
        QCOMPARE(added.data.tabs[1].tabIndex, 7);
        for (const SavedTab &tab : added.data.tabs) {
            QVERIFY(!tab.id.isNull());
            QCOMPARE(tab.windowId, added.data.windows[0].id);
            QVERIFY(tab.text.isEmpty());
            QVERIFY(tab.summary.isEmpty());
            QVERIFY(tab.tags.isEmpty());
            QVERIFY(!tab.topicId.has_value());
            QVERIFY(!tab.readAt.has_value());
            QVERIFY(!tab.isDemo);
        }
        QVERIFY(added.data.tabs[0].id != added.data.tabs[1].id);
    }

    void demoTabsCarryTheSampleTexts()
    {
        const QList<SafariWindow> windows = DemoData::safariSnapshot();
        const auto added = SleepPipeline::addSnapshot(windows, LibraryData(), SleepOptions(), true, runTime());
        QCOMPARE(added.newIds.size(), 52);
        QCOMPARE(added.data.windows.size(), 3);
        int withText = 0;
        for (const SavedTab &tab : added.data.tabs) {
            QVERIFY(tab.isDemo);
            QCOMPARE(tab.text, DemoData::textFor(tab.url).value_or(QString()));
            withText += tab.text.isEmpty() ? 0 : 1;
        }
        QVERIFY(withText > 0);
    }

    void fetchTexts()
    {
        LocalHttpServer server;
        QVERIFY(server.isListening());
        server.route("/a", LocalHttpServer::page("<html><body><p>Inhalt von A</p></body></html>"));
        server.route("/fehlt", LocalHttpServer::Response{404, {}, "weg", 0});
        server.route("/hat", LocalHttpServer::page("<p>Neu</p>"));
        server.route("/fremd", LocalHttpServer::page("<p>Fremd</p>"));

        LibraryData data;
        data.tabs = {plainTab(server.address("/a"), "A", {}), plainTab(server.address("/fehlt"), "F", {}),
                     plainTab(server.address("/hat"), "H", QStringLiteral("Alter Text")),
                     plainTab(server.address("/fremd"), "X", {})};
        const QList<QUuid> ids = {data.tabs[0].id, data.tabs[1].id, data.tabs[2].id};

        QList<std::pair<int, int>> reports;
        QMutex mutex;
        const LibraryData out = pipeline().fetchTexts(data, ids, [&](int done, int total) {
            QMutexLocker lock(&mutex);
            reports.append({done, total});
        });

        QCOMPARE(out.tabs[0].text, QStringLiteral("Inhalt von A"));
        QVERIFY(out.tabs[1].text.isEmpty());
        QCOMPARE(out.tabs[2].text, QStringLiteral("Alter Text"));
        QVERIFY(out.tabs[3].text.isEmpty());
        QCOMPARE(server.requestCount("/hat"), 0);
        QCOMPARE(server.requestCount("/fremd"), 0);
        QCOMPARE(reports.size(), 2);
        QCOMPARE(reports.last(), std::make_pair(2, 2));
        // Only the texts changed.
        LibraryData expected = data;
        expected.tabs[0].text = out.tabs[0].text;
        QCOMPARE(out, expected);
    }

    void fetchTextsWithNothingToFetchCallsNoOne()
    {
        LocalHttpServer server;
        server.route("/a", LocalHttpServer::page("<p>Neu</p>"));
        LibraryData data;
        data.tabs = {plainTab(server.address("/a"), "A", QStringLiteral("Schon da")),
                     plainTab(server.address("/b"), "B", {})};
        int calls = 0;
        const LibraryData out =
            pipeline().fetchTexts(data, {data.tabs[0].id, QUuid::createUuid()}, [&](int, int) { ++calls; });
        QCOMPARE(out, data);
        QCOMPARE(calls, 0);
        QVERIFY(server.requests().isEmpty());
    }

    void summarizeKeepsTagsAndSkipsSummarised()
    {
        LibraryData data;
        data.tabs = {
            plainTab("https://a.ch", QStringLiteral("Wanderwege im Jura"),
                     QStringLiteral("Die schönsten Wanderwege im Jura führen über Weiden und Wälder. Wanderwege "
                                    "sind gut markiert.")),
            plainTab("https://b.ch", QStringLiteral("Kameras im Vergleich"),
                     QStringLiteral("Spiegellose Kameras im Vergleich: Sensoren, Objektive, Kameras für Reisen.")),
            plainTab("https://c.ch", QStringLiteral("Fertig"), QStringLiteral("Text")),
            plainTab("https://d.ch", QStringLiteral("Nicht gewählt"), QStringLiteral("Noch ein Text über Dinge.")),
        };
        data.tabs[0].tags = {QStringLiteral("eigen")};
        data.tabs[2].summary = QStringLiteral("Schon zusammengefasst.");
        const QList<QUuid> ids = {data.tabs[0].id, data.tabs[1].id, data.tabs[2].id};

        QList<std::pair<int, int>> reports;
        const LibraryData out = pipeline().summarize(data, ids, [&](int done, int total) {
            reports.append({done, total});
        });

        const SummaryResult first = Summarizer::fallback(data.tabs[0].title, data.tabs[0].text);
        const SummaryResult second = Summarizer::fallback(data.tabs[1].title, data.tabs[1].text);
        QVERIFY(!second.tags.isEmpty());
        QCOMPARE(out.tabs[0].summary, first.summary);
        QCOMPARE(out.tabs[0].tags, QStringList{QStringLiteral("eigen")});
        QCOMPARE(out.tabs[1].summary, second.summary);
        QCOMPARE(out.tabs[1].tags, second.tags);
        QCOMPARE(out.tabs[2], data.tabs[2]);
        QCOMPARE(out.tabs[3], data.tabs[3]);
        QCOMPARE(reports, (QList<std::pair<int, int>>{{1, 2}, {2, 2}}));
    }

    void summarizeStopsBetweenTabs()
    {
        LibraryData data;
        for (int i = 0; i < 4; ++i)
            data.tabs.append(plainTab(QStringLiteral("https://t%1.ch").arg(i), QStringLiteral("Seite %1").arg(i),
                                      QStringLiteral("Ein Text über Bergbahnen und Seen.")));
        QList<QUuid> ids;
        for (const SavedTab &tab : std::as_const(data.tabs))
            ids.append(tab.id);

        std::stop_source source;
        QList<int> reported;
        const LibraryData out = pipeline().summarize(
            data, ids,
            [&](int done, int) {
                reported.append(done);
                if (done == 2)
                    source.request_stop();
            },
            source.get_token());
        QCOMPARE(reported, (QList<int>{1, 2}));
        QVERIFY(!out.tabs[0].summary.isEmpty());
        QVERIFY(!out.tabs[1].summary.isEmpty());
        QVERIFY(out.tabs[2].summary.isEmpty());
        QVERIFY(out.tabs[3].summary.isEmpty());

        std::stop_source stoppedBefore;
        stoppedBefore.request_stop();
        int calls = 0;
        QCOMPARE(pipeline().summarize(data, ids, [&](int, int) { ++calls; }, stoppedBefore.get_token()), data);
        QCOMPARE(calls, 0);
    }

    void groupFormsTopicsOnlyWhenAsked()
    {
        const auto added =
            SleepPipeline::addSnapshot(DemoData::safariSnapshot(), LibraryData(), SleepOptions(), true, runTime());
        const SleepPipeline steps = pipeline();

        const LibraryData vectorsOnly = steps.group(added.data, false);
        QCOMPARE(vectorsOnly.embeddings.size(), added.data.tabs.size());
        QVERIFY(vectorsOnly.topics.isEmpty());
        QCOMPARE(vectorsOnly.tabs, added.data.tabs);

        const LibraryData grouped = steps.group(added.data, true);
        QCOMPARE(grouped.embeddings.size(), added.data.tabs.size());
        int named = 0;
        for (const Topic &topic : grouped.topics)
            named += topic.isUnsorted ? 0 : 1;
        QVERIFY(named >= 2);
        for (const SavedTab &tab : grouped.tabs)
            QVERIFY(tab.topicId.has_value());
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestSleepPipeline)
#include "TestSleepPipeline.moc"
