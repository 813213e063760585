#include <QMap>
#include <QSettings>
#include <QTest>

#include <algorithm>

#include "CliHome.h"
#include "FakeModelServer.h"
#include "JsonRpc.h"
#include "LibraryBuilder.h"
#include "TestRegistry.h"

namespace {

LibraryData library()
{
    return LibraryBuilder()
        .window().tab("Rösti Rezept", "https://kochen.ch/roesti").text("Kartoffeln reiben, in Butter braten.").note("am Sonntag")
        .window().tab("Fahrplan", "https://bahn.example/fahrplan").reminder(LibraryBuilder::now().addDays(14))
        .topic("Kochen", {1}).unsorted();
}

QString id(int n)
{
    return idText(LibraryBuilder::id(n));
}

// The numbers of the library's tabs the output names (by id or address), in
// the order it names them.
QList<int> tabsNamed(const QString &output, const LibraryData &data = library())
{
    QMap<qsizetype, int> named;
    for (int n = 1; n <= data.tabs.size(); ++n)
        if (const qsizetype at = std::max(output.indexOf(idText(data.tabs[n - 1].id)), output.indexOf(data.tabs[n - 1].url)); at >= 0)
            named.insert(at, n);
    return named.values();
}

} // namespace

// pellmora-cli, run as a user runs it, over one library.
class TestCliCommands : public QObject
{
    Q_OBJECT

    std::unique_ptr<CliHome> m_home;

private slots:
    void init()
    {
        m_home = std::make_unique<CliHome>();
        QVERIFY(m_home->write(library()));
    }

    // Commands that only read: their exit code, the tabs they name, and the
    // file left as it was.
    void readingCommands_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QList<int>>("tabs");
        const QByteArray mcp = JsonRpc::request(1, "ping") + JsonRpc::toolCall(2, "search_tabs", {{"query", "Rösti"}});
        QTest::newRow("summary") << QStringList{} << QByteArray() << 0 << QList<int>{};
        QTest::newRow("search") << QStringList{"search", "Rösti Kartoffeln", "--json"} << QByteArray() << 0 << QList<int>{1};
        QTest::newRow("list") << QStringList{"list", "--json"} << QByteArray() << 0 << QList<int>{1, 2};
        QTest::newRow("list a topic") << QStringList{"list", "--topic", "Kochen"} << QByteArray() << 0 << QList<int>{1};
        QTest::newRow("list a window") << QStringList{"list", "--window", library().windows.at(1).title, "--json"}
                                       << QByteArray() << 0 << QList<int>{2};
        QTest::newRow("list reminders") << QStringList{"list", "--reminders"} << QByteArray() << 0 << QList<int>{2};
        QTest::newRow("list notes") << QStringList{"list", "--notes", "--json"} << QByteArray() << 0 << QList<int>{1};
        QTest::newRow("list an unknown topic") << QStringList{"list", "--topic", "Nichts"} << QByteArray() << 1 << QList<int>{};
        QTest::newRow("show, id in lower case") << QStringList{"show", id(2).toLower(), "--json"} << QByteArray() << 0 << QList<int>{2};
        QTest::newRow("show an unknown id") << QStringList{"show", id(99)} << QByteArray() << 1 << QList<int>{};
        QTest::newRow("ask") << QStringList{"ask", "  Rösti "} << QByteArray() << 0 << QList<int>{1};
        QTest::newRow("ask for JSON") << QStringList{"ask", "--json", "Fahrplan"} << QByteArray() << 0 << QList<int>{2};
        QTest::newRow("ask, nothing found") << QStringList{"ask", "Velotour"} << QByteArray() << 0 << QList<int>{};
        QTest::newRow("export") << QStringList{"export", "--format", "onetab"} << QByteArray() << 0 << QList<int>{1, 2};
        QTest::newRow("export an unknown topic") << QStringList{"export", "--format", "json", "--topic", "Nichts"}
                                                 << QByteArray() << 1 << QList<int>{};
        QTest::newRow("mcp") << QStringList{"mcp"} << mcp << 0 << QList<int>{1};
    }

    void readingCommands()
    {
        QFETCH(QStringList, args);
        QFETCH(QByteArray, input);
        QFETCH(int, exitCode);
        const TestSupport::ProcessResult run = m_home->run(args, input);
        QVERIFY2(run.exitCode == exitCode, qPrintable(run.err));
        QCOMPARE(run.out.isEmpty(), exitCode != 0);
        QCOMPARE(run.err.isEmpty(), exitCode == 0);
        QTEST(tabsNamed(run.out), "tabs");
        // A search keeps the vectors it had to make; nothing else changes.
        LibraryData after = m_home->library();
        after.embeddings.clear();
        after.embedderKind.clear();
        QCOMPARE(after, LibraryData(library()));
    }

    void usageErrorsLeaveTheFileAlone_data()
    {
        QTest::addColumn<QStringList>("args");
        for (const QStringList &args : QList<QStringList>{
                 {"frob"}, {"summary", "x"}, {"search"}, {"search", "x", "--limit", "viele"}, {"list", "--notes", "--reminders"},
                 {"list", "--topic"}, {"show"}, {"note", id(1)}, {"note", id(1), "a", "b"}, {"remind", id(1), "morgen"},
                 {"ask", "   "}, {"ask", "Kamera", "Suppe"}, {"import"}, {"import", "a", "--format", "xml"}, {"export"},
                 {"export", "--format", "json", "-o"}, {"restore", "gestern"}, {"backups", "alle"}, {"mcp", "--stdio"},
                 {"sleep", "--demo", "--schnell"}, {"sleep", "--keep-pinned", "--demo"}})
            QTest::newRow(qPrintable(args.join(' '))) << args;
    }

    void usageErrorsLeaveTheFileAlone()
    {
        QFETCH(QStringList, args);
        const QByteArray before = m_home->libraryBytes();
        const TestSupport::ProcessResult run = m_home->run(args);
        QCOMPARE(run.exitCode, 2);
        QVERIFY(run.out.isEmpty() && !run.err.isEmpty());
        QCOMPARE(m_home->libraryBytes(), before);
    }

    void writesReachTheFile()
    {
        QCOMPARE(m_home->run({"note", id(2), "Zug um 7 Uhr"}).exitCode, 0);
        QCOMPARE(m_home->run({"remind", id(1), "2026-10-09T09:00:00+02:00"}).exitCode, 0);
        QCOMPARE(m_home->run({"note", id(99), "x"}).exitCode, 1);
        const LibraryData data = m_home->library();
        QCOMPARE(data.tabs.at(1).note, "Zug um 7 Uhr");
        QCOMPARE(data.tabs.at(0).reminderAt, QDateTime(QDate(2026, 10, 9), QTime(7, 0), Qt::UTC));
        QCOMPARE(data.tabs.at(0).note, "am Sonntag");
    }

    void exportThenImportElsewhere()
    {
        const TestSupport::ProcessResult exported = m_home->run({"export", "--format", "json"});
        QCOMPARE(exported.exitCode, 0);
        CliHome other;
        QCOMPARE(other.run({"import", "-"}, exported.out.toUtf8()).exitCode, 0);
        const LibraryData imported = other.library();
        QCOMPARE(imported.tabs.size(), 2);
        for (qsizetype i = 0; i < 2; ++i)
            QCOMPARE(std::pair(imported.tabs[i].url, imported.tabs[i].title), std::pair(library().tabs[i].url, library().tabs[i].title));
    }

    void sleepDemo_data()
    {
        QTest::addColumn<QByteArray>("stored"); // the app's sleep options
        QTest::addColumn<QStringList>("flags");
        QTest::addColumn<int>("windows");
        QTest::addColumn<bool>("topics");
        const QByteArray oneWindow = R"({"groupByWindow":false,"sortByTopic":false,"saveContent":true,"keepPinned":false,"pinnedDomains":[]})";
        QTest::newRow("by window, in topics") << QByteArray() << QStringList{} << 3 << true;
        QTest::newRow("one window, no topics") << QByteArray() << QStringList{"--no-by-window", "--no-topics"} << 1 << false;
        QTest::newRow("the app's options are the start") << oneWindow << QStringList{} << 1 << false;
        QTest::newRow("a flag overrides the app's option") << oneWindow << QStringList{"--by-window"} << 3 << false;
    }

    void sleepDemo()
    {
        QFETCH(QByteArray, stored);
        QFETCH(QStringList, flags);
        CliHome home;
        if (!stored.isEmpty())
            QSettings(home.path("config/Pellmora/Pellmora.conf"), QSettings::IniFormat).setValue("sleepOptions", stored);
        QCOMPARE(home.run(QStringList{"sleep", "--demo"} + flags).exitCode, 0);
        const LibraryData saved = home.library();
        QVERIFY(!saved.tabs.isEmpty());
        QTEST(int(saved.windows.size()), "windows");
        QTEST(std::any_of(saved.topics.cbegin(), saved.topics.cend(), [](const Topic &t) { return !t.isUnsorted; }), "topics");
    }

    // With an embedding model, "search" (the MCP tool search_tabs) and "ask"
    // rank by meaning alike: the question shares no word with the camera tabs.
    void searchAndAskRankByMeaningAlike()
    {
        FakeModelServer model;
        model.embedWith([](const QString &text) {
            return QList<double>{text.contains("Kamera") || text.contains("Foto") ? 1.0 : 0.0, text.contains("Suppe") ? 1.0 : 0.0, 0.1};
        });
        CliHome home;
        const LibraryData data = LibraryBuilder().tab("Suppenrezept").tab("Objektiv für die Kamera").tab("Kamera kaufen")
                                     .savedAt(LibraryBuilder::now().addDays(1));
        QVERIFY(home.write(data));
        home.setEnv(model.environment());
        home.setEnv({{"PELLMORA_NO_SEMANTIC", ""}, {"PELLMORA_EMBED_MODEL", "fake"}});
        const auto run = [&](const QString &command) { return home.run({command, "Fotoapparat", "--json"}); };
        QCOMPARE(tabsNamed(run("search").out, data), (QList<int>{3, 2})); // the newer of two equal hits first
        QCOMPARE(home.library().embeddings.size(), 3);                     // made once and kept
        model.clearLog();
        QCOMPARE(tabsNamed(run("ask").out, data), (QList<int>{3, 2}));
        QCOMPARE(model.requestCount("/api/embed"), 2); // the probe and the question; the tabs' vectors from the file
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestCliCommands)
#include "TestCliCommands.moc"
