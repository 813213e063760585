#include "FakeClock.h"
#include "LibraryStore.h"
#include "MCPServer.h"
#include "TestMCPServer.h"
#include "PlatformWords.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>
#include "TestRegistry.h"

namespace {

const QString tabA = QStringLiteral("11111111-2222-3333-4444-555555555555");
const QString tabB = QStringLiteral("AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE");
const QDateTime now(QDate(2026, 11, 16), QTime(12, 0), Qt::UTC);

LibraryData sample()
{
    LibraryData data;
    SavedWindow window;
    window.id = QUuid::createUuid();
    window.title = QStringLiteral("Reise");
    window.savedAt = now.addDays(-1);
    SavedTab a;
    a.id = QUuid::fromString(tabA);
    a.url = QStringLiteral("https://example.org/zug/fahrplan");
    a.title = QStringLiteral("Fahrplan Zürich–Chur");
    a.domain = QStringLiteral("example.org");
    a.savedAt = now.addDays(-2);
    a.windowId = window.id;
    a.text = QStringLiteral("Züge fahren stündlich nach Chur. ").repeated(200);
    a.summary = QStringLiteral("Zugverbindungen nach Graubünden");
    a.note = QStringLiteral("alt");
    a.tags = {QStringLiteral("zug")};
    SavedTab b;
    b.id = QUuid::fromString(tabB);
    b.url = QStringLiteral("https://kochen.ch/rezept");
    b.title = QStringLiteral("Rösti Rezept");
    b.domain = QStringLiteral("kochen.ch");
    b.savedAt = now.addDays(-20);
    b.summary = QStringLiteral("Kartoffeln reiben und braten");
    window.tabIds = {a.id};
    Topic topic;
    topic.id = QUuid::createUuid();
    topic.name = QStringLiteral("Reisen");
    topic.tabIds = {a.id};
    a.topicId = topic.id;
    data.tabs = {a, b};
    data.windows = {window};
    data.topics = {topic};
    data.embeddings.insert(tabA, Vector{0.5f, 0.5f});
    data.embeddings.insert(tabB, Vector{1.0f});
    return data;
}

struct Fixture
{
    QTemporaryDir dir;
    LibraryStore store{dir.path() + QStringLiteral("/Pellmora/library.json")};
    FakeClock clock{now};
    MCPServer server{store, clock};
    Fixture() { QVERIFY(store.save(sample()).ok()); }

    QJsonObject call(const QString &name, const QJsonObject &args)
    {
        const QJsonObject request{{QStringLiteral("jsonrpc"), QStringLiteral("2.0")},
                                  {QStringLiteral("id"), 1},
                                  {QStringLiteral("method"), QStringLiteral("tools/call")},
                                  {QStringLiteral("params"),
                                   QJsonObject{{QStringLiteral("name"), name},
                                               {QStringLiteral("arguments"), args}}}};
        const auto line = server.handle(QString::fromUtf8(QJsonDocument(request).toJson(QJsonDocument::Compact)));
        if (!line)
            return {};
        return QJsonDocument::fromJson(line->toUtf8()).object().value(QStringLiteral("result")).toObject();
    }
};

QString textOf(const QJsonObject &result)
{
    return result.value(QStringLiteral("content")).toArray().at(0).toObject().value(QStringLiteral("text")).toString();
}

QJsonValue valueOf(const QJsonObject &result)
{
    const QJsonDocument doc = QJsonDocument::fromJson(textOf(result).toUtf8());
    return doc.isArray() ? QJsonValue(doc.array()) : QJsonValue(doc.object());
}

} // namespace



void TestMCPServer::protocol_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("expected"); // "" for no reply

    const QString parseError =
        QStringLiteral(R"({"error":{"code":-32700,"message":"Parse error"},"id":null,"jsonrpc":"2.0"})");
    QTest::newRow("not json") << "{nope" << parseError;
    QTest::newRow("array") << R"([{"jsonrpc":"2.0","id":1,"method":"ping"}])" << parseError;
    QTest::newRow("string") << R"("ping")" << parseError;
    QTest::newRow("empty line") << "" << "";
    QTest::newRow("blank line") << " \t " << "";
    QTest::newRow("notification") << R"({"jsonrpc":"2.0","method":"notifications/initialized"})" << "";
    QTest::newRow("request without id") << R"({"jsonrpc":"2.0","method":"ping"})" << "";
    QTest::newRow("ping id null") << R"({"jsonrpc":"2.0","id":null,"method":"ping"})"
                                  << R"({"id":null,"jsonrpc":"2.0","result":{}})";
    QTest::newRow("ping string id") << R"(  {"jsonrpc":"2.0","id":"a/b","method":"ping"}  )"
                                    << R"({"id":"a/b","jsonrpc":"2.0","result":{}})";
    QTest::newRow("ping id beyond a double") << R"({"jsonrpc":"2.0","id" : 12345678901234567890 ,"method":"ping"})"
                                             << R"({"id":12345678901234567890,"jsonrpc":"2.0","result":{}})";
    QTest::newRow("unknown method") << R"({"jsonrpc":"2.0","id":3,"method":"tools/frob"})"
                                    << R"({"error":{"code":-32601,"message":"Method not found: tools/frob"},"id":3,"jsonrpc":"2.0"})";
    QTest::newRow("method missing") << R"({"jsonrpc":"2.0","id":4})"
                                    << R"({"error":{"code":-32601,"message":"Method not found: "},"id":4,"jsonrpc":"2.0"})";
    QTest::newRow("method not a string") << R"({"jsonrpc":"2.0","id":5,"method":7})"
                                         << R"({"error":{"code":-32601,"message":"Method not found: "},"id":5,"jsonrpc":"2.0"})";
    const QString init = QStringLiteral(
        R"({"id":1,"jsonrpc":"2.0","result":{"capabilities":{"tools":{"listChanged":false}},"instructions":"INSTRUCTIONS","protocolVersion":"%1","serverInfo":{"name":"pellmora","title":"Pellmora Tab-Bibliothek","version":"0.1.0"}}})")
        .replace(QStringLiteral("INSTRUCTIONS"), PlatformWords::mcpInstructions());
    QTest::newRow("initialize echoes older version")
        << R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"2024-11-05"}})"
        << init.arg(QStringLiteral("2024-11-05"));
    QTest::newRow("initialize without params") << R"({"jsonrpc":"2.0","id":1,"method":"initialize"})"
                                               << init.arg(QStringLiteral("2025-06-18"));
    QTest::newRow("initialize numeric version")
        << R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":5}})"
        << init.arg(QStringLiteral("2025-06-18"));
}

void TestMCPServer::protocol()
{
    QFETCH(QString, line);
    QFETCH(QString, expected);
    QTemporaryDir dir;
    MCPServer server(LibraryStore(dir.path() + QStringLiteral("/library.json")));
    const auto reply = server.handle(line);
    QCOMPARE(reply.value_or(QString()), expected);
    QCOMPARE(reply.has_value(), !expected.isEmpty());
    // Protocol methods never create the library file.
    QVERIFY(!QFile::exists(dir.path() + QStringLiteral("/library.json")));
}

void TestMCPServer::toolsListInOrder()
{
    QTemporaryDir dir;
    MCPServer server(LibraryStore(dir.path() + QStringLiteral("/library.json")));
    const auto reply = server.handle(QStringLiteral(R"({"jsonrpc":"2.0","id":7,"method":"tools/list"})"));
    QVERIFY(reply);
    const QJsonArray tools = QJsonDocument::fromJson(reply->toUtf8())
                                 .object()[QStringLiteral("result")][QStringLiteral("tools")].toArray();
    QStringList names;
    for (const auto &t : tools)
        names << t[QStringLiteral("name")].toString();
    QCOMPARE(names, QStringList({"search_tabs", "list_topics", "list_windows", "get_tab", "add_note",
                                 "set_reminder", "recent_tabs"}));
    const QJsonObject add = tools.at(4).toObject();
    QCOMPARE(add[QStringLiteral("inputSchema")][QStringLiteral("required")].toArray(),
             QJsonArray({"id", "note"}));
    QVERIFY(!add[QStringLiteral("inputSchema")][QStringLiteral("properties")][QStringLiteral("id")]
                 .toObject().contains(QStringLiteral("description")));
    QCOMPARE(tools.at(1)[QStringLiteral("inputSchema")][QStringLiteral("properties")].toObject(), QJsonObject());
}

void TestMCPServer::toolFailures_data()
{
    QTest::addColumn<QString>("tool");
    QTest::addColumn<QJsonObject>("args");
    QTest::addColumn<QString>("message");

    QTest::newRow("search no query") << "search_tabs" << QJsonObject() << "query fehlt";
    QTest::newRow("search empty query") << "search_tabs" << QJsonObject{{"query", ""}} << "query fehlt";
    QTest::newRow("search number query") << "search_tabs" << QJsonObject{{"query", 4}} << "query fehlt";
    QTest::newRow("get malformed id") << "get_tab" << QJsonObject{{"id", "11111111-zz"}} << "Tab nicht gefunden";
    QTest::newRow("get unknown id")
        << "get_tab" << QJsonObject{{"id", QUuid::createUuid().toString(QUuid::WithoutBraces)}} << "Tab nicht gefunden";
    QTest::newRow("get id with more after it") << "get_tab" << QJsonObject{{"id", tabA + "-extra"}} << "Tab nicht gefunden";
    QTest::newRow("note id with a digit more") << "add_note" << QJsonObject{{"id", tabA + "0"}, {"note", "x"}}
                                               << "id oder note fehlt";
    QTest::newRow("note id with a blank") << "add_note" << QJsonObject{{"id", tabA + " "}, {"note", "x"}}
                                          << "id oder note fehlt";
    QTest::newRow("reminder id in braces and more")
        << "set_reminder" << QJsonObject{{"id", "{" + tabA + "}junk"}, {"iso_date", "2026-10-09T09:00:00+02:00"}}
        << QStringLiteral("id oder iso_date fehlt oder ungültig");
    QTest::newRow("note unknown id")
        << "add_note" << QJsonObject{{"id", QUuid::createUuid().toString(QUuid::WithoutBraces)}, {"note", "x"}}
        << "id oder note fehlt";
    QTest::newRow("note not string") << "add_note" << QJsonObject{{"id", tabA}, {"note", 3}} << "id oder note fehlt";
    QTest::newRow("reminder bad date") << "set_reminder" << QJsonObject{{"id", tabA}, {"iso_date", "morgen"}}
                                       << QStringLiteral("id oder iso_date fehlt oder ungültig");
    QTest::newRow("reminder no id") << "set_reminder" << QJsonObject{{"iso_date", "2026-10-09T09:00:00+02:00"}}
                                    << QStringLiteral("id oder iso_date fehlt oder ungültig");
    QTest::newRow("unknown tool") << "frob" << QJsonObject() << "Unbekanntes Werkzeug: frob";
    QTest::newRow("no name") << "" << QJsonObject() << "Unbekanntes Werkzeug: ";
}

void TestMCPServer::toolFailures()
{
    QFETCH(QString, tool);
    QFETCH(QJsonObject, args);
    QFETCH(QString, message);
    Fixture f;
    QFile file(f.store.filePath());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray before = file.readAll();
    file.close();
    const QJsonObject result = f.call(tool, args);
    QCOMPARE(result[QStringLiteral("isError")].toBool(), true);
    QCOMPARE(textOf(result), message);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), before);
}

void TestMCPServer::getTabByLowerCaseId()
{
    Fixture f;
    const QJsonObject result = f.call(QStringLiteral("get_tab"), {{"id", tabA.toLower()}});
    QCOMPARE(result[QStringLiteral("isError")].toBool(), false);
    const QJsonObject tab = valueOf(result).toObject();
    QCOMPARE(tab[QStringLiteral("id")].toString(), tabA);
    QCOMPARE(tab[QStringLiteral("topic")].toString(), QStringLiteral("Reisen"));
    QCOMPARE(tab[QStringLiteral("window")].toString(), QStringLiteral("Reise"));
    QCOMPARE(tab[QStringLiteral("note")].toString(), QStringLiteral("alt"));
    QCOMPARE(tab[QStringLiteral("savedAt")].toString(), QStringLiteral("2026-11-14T12:00:00Z"));
    QCOMPARE(tab[QStringLiteral("read")].toBool(), false);
    QCOMPARE(tab[QStringLiteral("text")].toString().size(), 4000);
    QVERIFY(!tab.contains(QStringLiteral("reminderAt")));
    QVERIFY(!tab.contains(QStringLiteral("projects")));

    const QJsonObject other = valueOf(f.call(QStringLiteral("get_tab"), {{"id", tabB}})).toObject();
    QVERIFY(!other.contains(QStringLiteral("topic")));
    QVERIFY(!other.contains(QStringLiteral("window")));
    QVERIFY(!other.contains(QStringLiteral("note")));
}

void TestMCPServer::addNoteWritesFileAndDropsVector_data()
{
    QTest::addColumn<QString>("note");
    QTest::newRow("new note") << QStringLiteral("Für die Reise/Chur");
    QTest::newRow("cleared") << QString();
}

void TestMCPServer::addNoteWritesFileAndDropsVector()
{
    QFETCH(QString, note);
    Fixture f;
    const QJsonObject result = f.call(QStringLiteral("add_note"), {{"id", tabA}, {"note", note}});
    QCOMPARE(result[QStringLiteral("isError")].toBool(), false);
    const QJsonObject tab = valueOf(result).toObject();
    QCOMPARE(tab.contains(QStringLiteral("note")), !note.isEmpty());
    QCOMPARE(tab[QStringLiteral("note")].toString(), note);

    const LibraryData stored = f.store.load();
    QCOMPARE(stored.tabs.at(0).note, note);
    QVERIFY(!stored.embeddings.contains(tabA));
    QVERIFY(stored.embeddings.contains(tabB));
    QFile file(f.store.filePath());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    QVERIFY(!bytes.contains('\n'));
    QVERIFY(bytes.contains(R"(https:\/\/example.org\/zug\/fahrplan)"));
}

void TestMCPServer::setReminderInUtc()
{
    Fixture f;
    const QJsonObject result =
        f.call(QStringLiteral("set_reminder"), {{"id", tabB}, {"iso_date", "2026-10-09T09:00:00+02:00"}});
    QCOMPARE(result[QStringLiteral("isError")].toBool(), false);
    QCOMPARE(valueOf(result).toObject()[QStringLiteral("reminderAt")].toString(),
             QStringLiteral("2026-10-09T07:00:00Z"));
    const LibraryData stored = f.store.load();
    QCOMPARE(stored.tabs.at(1).reminderAt, QDateTime(QDate(2026, 10, 9), QTime(7, 0), Qt::UTC));
    QVERIFY(stored.embeddings.contains(tabB));
}

void TestMCPServer::recentTabs_data()
{
    QTest::addColumn<QJsonValue>("days");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("newestOffset"); // days before now of the first tab
    // Tabs are saved 0…149 days ago, one every day, oldest first in the library.
    QTest::newRow("default seven") << QJsonValue() << 8 << 0;
    QTest::newRow("zero as one") << QJsonValue(0) << 2 << 0;
    QTest::newRow("negative as one") << QJsonValue(-5) << 2 << 0;
    QTest::newRow("string ignored") << QJsonValue("3") << 8 << 0;
    QTest::newRow("capped at hundred") << QJsonValue(400) << 100 << 0;
    // Days times seconds per day would overflow a 64-bit count.
    QTest::newRow("beyond any count of days") << QJsonValue(1.0e16) << 100 << 0;
}

void TestMCPServer::recentTabs()
{
    QFETCH(QJsonValue, days);
    QFETCH(int, count);
    QFETCH(int, newestOffset);
    Fixture f;
    LibraryData data;
    for (int i = 149; i >= 0; --i) {
        SavedTab tab;
        tab.id = QUuid::createUuid();
        tab.url = QStringLiteral("https://x.ch/%1").arg(i);
        tab.title = QString::number(i);
        tab.savedAt = now.addDays(-i);
        data.tabs.append(tab);
    }
    QVERIFY(f.store.save(data).ok());
    QJsonObject args;
    if (!days.isUndefined() && !days.isNull())
        args.insert(QStringLiteral("days"), days);
    const QJsonArray tabs = valueOf(f.call(QStringLiteral("recent_tabs"), args)).toArray();
    QCOMPARE(tabs.size(), count);
    QCOMPARE(tabs.at(0)[QStringLiteral("title")].toString(), QString::number(newestOffset));
    QCOMPARE(tabs.last()[QStringLiteral("title")].toString(), QString::number(count - 1));
}

void TestMCPServer::searchLimits_data()
{
    QTest::addColumn<double>("limit");
    QTest::addColumn<int>("atMost");
    QTest::newRow("zero gives one") << 0.0 << 1;
    QTest::newRow("five hundred gives fifty") << 500.0 << 50;
    QTest::newRow("ten quadrillion gives fifty") << 1.0e16 << 50;
    QTest::newRow("three") << 3.0 << 3;
}

void TestMCPServer::searchLimits()
{
    QFETCH(double, limit);
    QFETCH(int, atMost);
    Fixture f;
    LibraryData data;
    for (int i = 0; i < 80; ++i) {
        SavedTab tab;
        tab.id = QUuid::createUuid();
        tab.url = QStringLiteral("https://berge.ch/%1").arg(i);
        tab.title = QStringLiteral("Wanderung Berge Nummer %1").arg(i);
        tab.domain = QStringLiteral("berge.ch");
        tab.savedAt = now;
        data.tabs.append(tab);
    }
    QVERIFY(f.store.save(data).ok());
    const QJsonObject result = f.call(QStringLiteral("search_tabs"), {{"query", "Wanderung Berge"}, {"limit", limit}});
    QCOMPARE(result[QStringLiteral("isError")].toBool(), false);
    const QJsonArray hits = valueOf(result).toArray();
    QCOMPARE(hits.size(), atMost);
    for (const auto &hit : hits) {
        const double score = hit[QStringLiteral("score")].toDouble();
        QVERIFY(score > 0);
        // Three decimals at most, in float arithmetic.
        const float f3 = float(score) * 1000.0f;
        QCOMPARE(std::round(f3), f3);
    }
}

void TestMCPServer::prettyToolTextAndCompactEnvelope()
{
    Fixture f;
    const QJsonObject request{{"jsonrpc", "2.0"}, {"id", 9}, {"method", "tools/call"},
                              {"params", QJsonObject{{"name", "list_windows"}}}};
    const auto line = f.server.handle(QString::fromUtf8(QJsonDocument(request).toJson(QJsonDocument::Compact)));
    QVERIFY(line);
    QVERIFY(!line->contains(u'\n'));
    QVERIFY(line->startsWith(QStringLiteral(R"({"id":9,"jsonrpc":"2.0","result":{"content":[{"text":")")));
    const QString text = textOf(QJsonDocument::fromJson(line->toUtf8()).object()[QStringLiteral("result")].toObject());
    QVERIFY(text.contains(u'\n'));
    const QStringList keys = {"\"id\"", "\"savedAt\"", "\"tabs\"", "\"title\""};
    qsizetype last = -1;
    for (const QString &key : keys) {
        const qsizetype at = text.indexOf(key);
        QVERIFY2(at > last, qPrintable(key));
        last = at;
    }
    QVERIFY(text.contains(QStringLiteral("\"tabs\" : 1")));

    const QString tab = textOf(f.call(QStringLiteral("get_tab"), {{"id", tabA}}));
    QVERIFY(tab.contains(QStringLiteral(R"(https:\/\/example.org)")));
}

void TestMCPServer::configSnippet()
{
    QCOMPARE(MCPServer::claudeConfigSnippet(QStringLiteral("/opt/p \"x\"/pellmora-cli")),
             QStringLiteral("{\n  \"mcpServers\": {\n    \"pellmora\": {\n      \"command\": "
                            "\"/opt/p \"x\"/pellmora-cli\",\n      \"args\": [\"mcp\"]\n    }\n  }\n}"));
}

PELLMORA_TEST_GUILESS_MAIN(TestMCPServer)
