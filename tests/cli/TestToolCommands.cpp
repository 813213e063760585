#include "TestToolCommands.h"

#include "Fmt.h"
#include "LibraryStore.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include "TestRegistry.h"

namespace {

const QString tabA = QStringLiteral("11111111-2222-3333-4444-555555555555");
const QString tabB = QStringLiteral("AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE");

struct Run
{
    int exitCode = -1;
    QString out;
    QString err;
};

QTemporaryDir *dataHome = nullptr;

QString libraryPath()
{
    return dataHome->path() + QStringLiteral("/Pellmora/library.json");
}

Run cli(const QStringList &args, const QByteArray &input = {})
{
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_DATA_HOME"), dataHome->path());
    p.setProcessEnvironment(env);
    p.start(qEnvironmentVariable("PELLMORA_CLI"), args);
    p.waitForStarted();
    p.write(input);
    p.closeWriteChannel();
    p.waitForFinished(60000);
    return {p.exitCode(), QString::fromUtf8(p.readAllStandardOutput()),
            QString::fromUtf8(p.readAllStandardError())};
}

QByteArray fileBytes()
{
    QFile f(libraryPath());
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

} // namespace

void TestToolCommands::init()
{
    delete dataHome;
    dataHome = new QTemporaryDir;
    LibraryData data;
    SavedWindow window;
    window.id = QUuid::createUuid();
    window.title = QStringLiteral("Arbeit");
    Topic topic;
    topic.id = QUuid::createUuid();
    topic.name = QStringLiteral("Kochen");
    const QDateTime saved(QDate(2026, 11, 1), QTime(8, 15), Qt::UTC);
    SavedTab a;
    a.id = QUuid::fromString(tabA);
    a.url = QStringLiteral("https://kochen.ch/roesti");
    a.title = QStringLiteral("Rösti Rezept");
    a.domain = QStringLiteral("kochen.ch");
    a.savedAt = saved;
    a.text = QStringLiteral("Kartoffeln reiben, in Butter braten.");
    a.topicId = topic.id;
    a.note = QStringLiteral("am Sonntag");
    SavedTab b;
    b.id = QUuid::fromString(tabB);
    b.url = QStringLiteral("https://bahn.example/fahrplan");
    b.title = QStringLiteral("Fahrplan");
    b.domain = QStringLiteral("bahn.example");
    b.savedAt = saved;
    b.windowId = window.id;
    b.reminderAt = QDateTime(QDate(2026, 12, 1), QTime(9, 0), Qt::UTC);
    topic.tabIds = {a.id};
    window.tabIds = {b.id};
    data.tabs = {a, b};
    data.topics = {topic};
    data.windows = {window};
    QVERIFY(LibraryStore(libraryPath()).save(data).ok());
}

void TestToolCommands::commands_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QStringList>("ids"); // tab ids in the JSON output, in order

    QTest::newRow("search") << QStringList{"search", "Rösti Kartoffeln", "--json"} << 0 << QStringList{tabA};
    QTest::newRow("list all") << QStringList{"list", "--json"} << 0 << QStringList{tabA, tabB};
    QTest::newRow("list topic") << QStringList{"list", "--topic", "Kochen", "--json"} << 0 << QStringList{tabA};
    QTest::newRow("list window") << QStringList{"list", "--json", "--window", "Arbeit"} << 0 << QStringList{tabB};
    QTest::newRow("list reminders") << QStringList{"list", "--reminders", "--json"} << 0 << QStringList{tabB};
    QTest::newRow("list notes") << QStringList{"list", "--notes", "--json"} << 0 << QStringList{tabA};
    QTest::newRow("list unknown topic") << QStringList{"list", "--topic", "Nichts"} << 1 << QStringList();
    QTest::newRow("show lower case") << QStringList{"show", tabB.toLower(), "--json"} << 0 << QStringList{tabB};
    QTest::newRow("show unknown") << QStringList{"show", QUuid::createUuid().toString()} << 1 << QStringList();
}

void TestToolCommands::commands()
{
    QFETCH(QStringList, args);
    QFETCH(int, exitCode);
    QFETCH(QStringList, ids);
    const QByteArray before = fileBytes();
    const LibraryData data = LibraryStore(libraryPath()).load();
    const Run run = cli(args);
    QCOMPARE(run.exitCode, exitCode);
    if (args.first() == u"search") {
        // A search keeps the vectors it had to make; nothing else changes.
        LibraryData after = LibraryStore(libraryPath()).load();
        QCOMPARE(after.embeddings.size(), after.tabs.size());
        after.embeddings = data.embeddings;
        after.embedderKind = data.embedderKind;
        QCOMPARE(after, data);
    } else {
        QCOMPARE(fileBytes(), before);
    }
    if (exitCode != 0) {
        QVERIFY(!run.err.isEmpty());
        QVERIFY(run.out.isEmpty());
        return;
    }
    const QJsonDocument doc = QJsonDocument::fromJson(run.out.toUtf8());
    const QJsonArray items = doc.isArray() ? doc.array() : QJsonArray{doc.object()};
    QStringList got;
    for (const auto &item : items)
        got << item[QStringLiteral("id")].toString();
    QCOMPARE(got, ids);
}

void TestToolCommands::usageErrorsLeaveFileAlone_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::newRow("unknown command") << QStringList{"frob"};
    QTest::newRow("search without query") << QStringList{"search"};
    QTest::newRow("search bad limit") << QStringList{"search", "x", "--limit", "viele"};
    QTest::newRow("list two filters") << QStringList{"list", "--notes", "--reminders"};
    QTest::newRow("list topic without name") << QStringList{"list", "--topic"};
    QTest::newRow("list unknown option") << QStringList{"list", "--alle"};
    QTest::newRow("show without id") << QStringList{"show"};
    QTest::newRow("note without text") << QStringList{"note", tabA};
    QTest::newRow("note too many") << QStringList{"note", tabA, "a", "b"};
    QTest::newRow("remind bad date") << QStringList{"remind", tabA, "morgen"};
    QTest::newRow("remind without date") << QStringList{"remind", tabA};
    QTest::newRow("mcp with argument") << QStringList{"mcp", "--stdio"};
}

void TestToolCommands::usageErrorsLeaveFileAlone()
{
    QFETCH(QStringList, args);
    const QByteArray before = fileBytes();
    const Run run = cli(args);
    QCOMPARE(run.exitCode, 2);
    QVERIFY(run.out.isEmpty());
    QVERIFY(run.err.contains(QStringLiteral("Aufruf: pellmora-cli")));
    QCOMPARE(fileBytes(), before);
}

void TestToolCommands::hintsRecordTheDayAndContextListsProjects()
{
    LibraryStore store(libraryPath());
    LibraryData data = store.load();
    data.context.freeText = QStringLiteral("Rösti Rezept: Kartoffeln reiben und in Butter braten");
    QVERIFY(store.save(data).ok());

    const Run context = cli({QStringLiteral("context")});
    QCOMPARE(context.exitCode, 0);
    QCOMPARE(context.out.count(u'\n'), 1); // the free text is the one project

    const Run hints = cli({QStringLiteral("hints")});
    QCOMPARE(hints.exitCode, 0);
    // No model server answers here; its log lines stay out of the terminal.
    QCOMPARE(hints.err, QString());
    const LibraryData after = store.load();
    QCOMPARE(after.lastHintDay, std::optional(Fmt::dayKey(QDateTime::currentDateTime())));
    QVERIFY(!after.hints.isEmpty());
    // Every new hint is printed with its tab's address and its reason.
    for (const Hint &hint : after.hints) {
        QVERIFY(hints.out.contains(after.tab(hint.tabId)->url));
        QVERIFY(hints.out.contains(hint.reason));
    }
    // The day is taken: looking again finds nothing new.
    const Run again = cli({QStringLiteral("hints")});
    QCOMPARE(again.exitCode, 0);
    QCOMPARE(store.load().hints.size(), after.hints.size());
}

void TestToolCommands::noteAndRemindWrite()
{
    Run run = cli({QStringLiteral("note"), tabB, QStringLiteral("Zug um 7 Uhr")});
    QCOMPARE(run.exitCode, 0);
    QVERIFY(run.out.contains(QStringLiteral("Notiz gesetzt")));
    run = cli({QStringLiteral("remind"), tabA, QStringLiteral("2026-10-09T09:00:00+02:00"), QStringLiteral("--json")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(QJsonDocument::fromJson(run.out.toUtf8()).object()[QStringLiteral("reminderAt")].toString(),
             QStringLiteral("2026-10-09T07:00:00Z"));
    run = cli({QStringLiteral("note"), QUuid::createUuid().toString(), QStringLiteral("x")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err.trimmed(), QStringLiteral("id oder note fehlt"));

    const LibraryData data = LibraryStore(libraryPath()).load();
    QCOMPARE(data.tabs.at(1).note, QStringLiteral("Zug um 7 Uhr"));
    QCOMPARE(data.tabs.at(0).reminderAt, QDateTime(QDate(2026, 10, 9), QTime(7, 0), Qt::UTC));
    QCOMPARE(data.tabs.at(0).note, QStringLiteral("am Sonntag"));
}

void TestToolCommands::mcpOverPipes()
{
    const QByteArray input =
        "{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"ping\"}\r\n"
        "{\"jsonrpc\":\"2.0\",\"method\":\"notifications/initialized\"}\n"
        "\n"
        "[1]\n"
        "{\"jsonrpc\":\"2.0\",\"id\":2,\"method\":\"tools/call\",\"params\":{\"name\":\"list_windows\"}}\n";
    const Run run = cli({QStringLiteral("mcp")}, input);
    QCOMPARE(run.exitCode, 0);
    const QStringList lines = run.out.split(u'\n');
    QCOMPARE(lines.size(), 4); // three replies and the final line end
    QCOMPARE(lines.at(0), QStringLiteral("{\"id\":1,\"jsonrpc\":\"2.0\",\"result\":{}}"));
    QVERIFY(lines.at(1).contains(QStringLiteral("-32700")));
    QVERIFY(lines.at(2).contains(QStringLiteral("Arbeit")));
    QVERIFY(lines.at(3).isEmpty());
}

PELLMORA_TEST_GUILESS_MAIN(TestToolCommands)
