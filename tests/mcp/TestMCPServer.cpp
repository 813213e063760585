#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <limits>

#include "FakeClock.h"
#include "JsonRpc.h"
#include "JsonText.h"
#include "LibraryBuilder.h"
#include "LibraryStore.h"
#include "MCPServer.h"
#include "PlatformWords.h"
#include "TestSupport.h"
#include "TestRegistry.h"

namespace {

const QDateTime now = LibraryBuilder::now();
const QString tabA = idText(LibraryBuilder::tabId(1));
const QString tabB = idText(LibraryBuilder::tabId(2));

// A library file and a server on it.
struct Fixture
{
    QTemporaryDir dir;
    LibraryStore store{dir.filePath("Pellmora/library.json")};
    FakeClock clock{now};
    MCPServer server{store, clock};

    explicit Fixture(const LibraryData &data = LibraryBuilder(now.addDays(-2))
                                                   .tab("Fahrplan Zürich–Chur", "https://example.org/zug/fahrplan")
                                                   .text(QString("Züge fahren stündlich nach Chur. ").repeated(200))
                                                   .note("alt").vector({0.5f, 0.5f})
                                                   .tab("Rösti Rezept", "https://kochen.ch/rezept").vector({1.0f})
                                                   .topic("Reisen", {1}))
    {
        QVERIFY(store.save(data).ok());
    }
    QJsonObject call(const QString &tool, const QJsonObject &args)
    {
        return JsonRpc::replies(server.handle(JsonRpc::toolCall(1, tool, args)).value_or(QString()).toUtf8()).value(0);
    }
    // A successful call's text, read as JSON.
    QJsonValue value(const QString &tool, const QJsonObject &args)
    {
        const QJsonObject reply = call(tool, args);
        [&] { QVERIFY(!reply["result"]["isError"].toBool()); }();
        const QJsonDocument doc = QJsonDocument::fromJson(JsonRpc::toolText(reply).toUtf8());
        return doc.isArray() ? QJsonValue(doc.array()) : QJsonValue(doc.object());
    }
};

LibraryData tabsSavedDaily(int count, const QString &title)
{
    LibraryBuilder builder;
    for (int i = count - 1; i >= 0; --i)
        builder.tab(title.arg(i), QStringLiteral("https://x.ch/%1").arg(i)).savedAt(now.addDays(-i));
    return builder;
}

} // namespace

class TestMCPServer : public QObject
{
    Q_OBJECT

private slots:
    void protocol_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("expected"); // "" for no reply
        const QString parseError = R"({"error":{"code":-32700,"message":"Parse error"},"id":null,"jsonrpc":"2.0"})";
        QTest::newRow("not json") << "{nope" << parseError;
        QTest::newRow("array") << R"([{"jsonrpc":"2.0","id":1,"method":"ping"}])" << parseError;
        QTest::newRow("blank line") << " \t " << "";
        QTest::newRow("notification") << R"({"jsonrpc":"2.0","method":"notifications/initialized"})" << "";
        QTest::newRow("request without id") << R"({"jsonrpc":"2.0","method":"ping"})" << "";
        QTest::newRow("id null") << R"({"jsonrpc":"2.0","id":null,"method":"ping"})" << R"({"id":null,"jsonrpc":"2.0","result":{}})";
        QTest::newRow("string id, blanks around")
            << R"(  {"jsonrpc":"2.0","id":"a/b","method":"ping"}  )" << R"({"id":"a/b","jsonrpc":"2.0","result":{}})";
        QTest::newRow("id beyond a double") << R"({"jsonrpc":"2.0","id" : 12345678901234567890 ,"method":"ping"})"
                                            << R"({"id":12345678901234567890,"jsonrpc":"2.0","result":{}})";
        QTest::newRow("unknown method") << R"({"jsonrpc":"2.0","id":3,"method":"tools/frob"})"
                                        << R"({"error":{"code":-32601,"message":"Method not found: tools/frob"},"id":3,"jsonrpc":"2.0"})";
        QTest::newRow("method not a string") << R"({"jsonrpc":"2.0","id":5,"method":7})"
                                             << R"({"error":{"code":-32601,"message":"Method not found: "},"id":5,"jsonrpc":"2.0"})";
        // A failing tool is a result, not a protocol error.
        QTest::newRow("unknown tool") << R"({"jsonrpc":"2.0","id":4,"method":"tools/call","params":{"name":"frob"}})"
                                      << R"({"id":4,"jsonrpc":"2.0","result":{"content":[{"text":"Unbekanntes Werkzeug: frob","type":"text"}],"isError":true}})";
        // The reply in the server's form: compact, keys sorted, as Qt writes it too.
        const auto init = [](const QString &version) {
            const QJsonObject result{{"capabilities", QJsonObject{{"tools", QJsonObject{{"listChanged", false}}}}},
                                     {"instructions", PlatformWords::mcpInstructions()},
                                     {"protocolVersion", version},
                                     {"serverInfo", QJsonObject{{"name", "pellmora"}, {"title", "Pellmora Tab-Bibliothek"}, {"version", "0.1.0"}}}};
            return QString::fromUtf8(QJsonDocument(QJsonObject{{"id", 1}, {"jsonrpc", "2.0"}, {"result", result}}).toJson(QJsonDocument::Compact));
        };
        QTest::newRow("initialize echoes an older version")
            << R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"2024-11-05"}})" << init("2024-11-05");
        QTest::newRow("initialize without a version") << R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":5}})"
                                                      << init(MCPServer::protocolVersion);
    }

    void protocol()
    {
        QFETCH(QString, line);
        QFETCH(QString, expected);
        QTemporaryDir dir;
        MCPServer server(LibraryStore(dir.filePath("library.json")));
        QCOMPARE(server.handle(line), expected.isEmpty() ? std::nullopt : std::optional(expected));
        QVERIFY(!QFile::exists(dir.filePath("library.json"))); // protocol methods never create the library
    }

    void toolsList()
    {
        Fixture f;
        const QJsonObject reply = JsonRpc::replies(f.server.handle(JsonRpc::request(7, "tools/list"))->toUtf8()).value(0);
        const QJsonArray tools = reply["result"]["tools"].toArray();
        QStringList names;
        for (const QJsonValue &tool : tools)
            names << tool["name"].toString();
        QCOMPARE(names, QStringList({"search_tabs", "list_topics", "list_windows", "get_tab", "add_note", "set_reminder", "recent_tabs"}));
        QCOMPARE(tools[4]["inputSchema"]["required"].toArray(), QJsonArray({"id", "note"}));
        QCOMPARE(tools[1]["inputSchema"]["properties"].toObject(), QJsonObject()); // an object, even when empty
    }

    void toolFailures_data()
    {
        QTest::addColumn<QString>("tool");
        QTest::addColumn<QJsonObject>("args");
        QTest::addColumn<QString>("message");
        const QString when = QStringLiteral("2026-10-09T09:00:00+02:00");
        QTest::newRow("search number query") << "search_tabs" << QJsonObject{{"query", 4}} << "query fehlt";
        QTest::newRow("get malformed id") << "get_tab" << QJsonObject{{"id", "11111111-zz"}} << "Tab nicht gefunden";
        QTest::newRow("get id with more after it") << "get_tab" << QJsonObject{{"id", tabA + "-extra"}} << "Tab nicht gefunden";
        QTest::newRow("note id with a blank") << "add_note" << QJsonObject{{"id", tabA + " "}, {"note", "x"}} << "id oder note fehlt";
        QTest::newRow("reminder id in braces and more") << "set_reminder" << QJsonObject{{"id", "{" + tabA + "}junk"}, {"iso_date", when}}
                                                        << "id oder iso_date fehlt oder ungültig";
        QTest::newRow("reminder bad date") << "set_reminder" << QJsonObject{{"id", tabA}, {"iso_date", "morgen"}}
                                           << "id oder iso_date fehlt oder ungültig";
    }

    void toolFailures()
    {
        QFETCH(QString, tool);
        QFETCH(QJsonObject, args);
        QFETCH(QString, message);
        Fixture f;
        const QByteArray before = TestSupport::readFile(f.store.filePath());
        const QJsonObject reply = f.call(tool, args);
        QVERIFY(reply["result"]["isError"].toBool());
        QCOMPARE(JsonRpc::toolText(reply), message);
        QCOMPARE(TestSupport::readFile(f.store.filePath()), before);
    }

    void getTabByLowerCaseId()
    {
        Fixture f;
        const QJsonObject tab = f.value("get_tab", {{"id", tabA.toLower()}}).toObject();
        QVERIFY(tab["id"] == tabA && tab["topic"] == "Reisen" && tab["note"] == "alt" && tab["read"] == false);
        QCOMPARE(tab["window"].toString(), f.store.load().windows[0].title);
        QCOMPARE(tab["savedAt"].toString(), "2026-11-14T20:31:00Z");
        QCOMPARE(tab["text"].toString().size(), 4000);
        // What a tab lacks is left out, not null; the text is indented, keys sorted.
        QVERIFY(!tab.contains("reminderAt") && !tab.contains("projects"));
        QVERIFY(!f.value("get_tab", {{"id", tabB}}).toObject().contains("topic"));
        const QString text = JsonRpc::toolText(f.call("list_windows", {}));
        QVERIFY(text.contains("\n") && text.contains("\"tabs\" : 2") && text.indexOf("\"savedAt\"") < text.indexOf("\"tabs\""));
    }

    void writingTools()
    {
        Fixture f;
        QCOMPARE(f.value("add_note", {{"id", tabA}, {"note", "Für die Reise/Chur"}})["note"].toString(), "Für die Reise/Chur");
        QCOMPARE(f.value("set_reminder", {{"id", tabB}, {"iso_date", "2026-10-09T09:00:00+02:00"}})["reminderAt"].toString(),
                 "2026-10-09T07:00:00Z");
        const LibraryData stored = f.store.load();
        QCOMPARE(stored.tabs[0].note, "Für die Reise/Chur");
        QCOMPARE(stored.tabs[1].reminderAt, QDateTime(QDate(2026, 10, 9), QTime(7, 0), Qt::UTC));
        // A new note changes the tab's words: its vector goes; a reminder does not.
        QVERIFY(!stored.embeddings.contains(tabA));
        QCOMPARE(stored.embeddings.value(tabB), Vector{1.0f});
        QVERIFY(!f.value("add_note", {{"id", tabA}, {"note", ""}}).toObject().contains("note"));
    }

    void recentTabs_data()
    {
        QTest::addColumn<QJsonObject>("args");
        QTest::addColumn<int>("count"); // tabs saved 0…149 days ago, the newest first
        QTest::newRow("seven by default, a string ignored") << QJsonObject{{"days", "3"}} << 8;
        QTest::newRow("at most a hundred") << QJsonObject{{"days", 400}} << 100;
        // Days times seconds per day would overflow a 64-bit count.
        QTest::newRow("beyond any count of days") << QJsonObject{{"days", 1.0e16}} << 100;
    }

    void recentTabs()
    {
        QFETCH(QJsonObject, args);
        QFETCH(int, count);
        Fixture f(tabsSavedDaily(150, "%1"));
        const QJsonArray tabs = f.value("recent_tabs", args).toArray();
        QCOMPARE(tabs.size(), count);
        QVERIFY(tabs.first()["title"] == "0" && tabs.last()["title"] == QString::number(count - 1));
    }

    void searchLimit()
    {
        Fixture f(tabsSavedDaily(80, "Wanderung Berge %1"));
        for (const auto &[limit, count] : {std::pair(0.0, 1), std::pair(3.0, 3), std::pair(1.0e16, 50)}) {
            const QJsonArray hits = f.value("search_tabs", {{"query", "Wanderung Berge"}, {"limit", limit}}).toArray();
            QCOMPARE(hits.size(), count);
            for (const QJsonValue &hit : hits) {
                const float milli = float(hit["score"].toDouble()) * 1000.0f; // three decimals, in float arithmetic
                QVERIFY(milli > 0 && std::round(milli) == milli);
            }
        }
    }

    void jsonText_data()
    {
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<QString>("compact");
        QTest::addColumn<QString>("pretty");
        QTest::newRow("slashes") << QJsonValue("a/b") << R"("a/b")" << R"("a\/b")";
        QTest::newRow("controls and quotes") << QJsonValue(QStringLiteral("\"x\"\\\n\t") + QChar(0x01))
                                             << "\"\\\"x\\\"\\\\\\n\\t\\u0001\"" << "\"\\\"x\\\"\\\\\\n\\t\\u0001\"";
        QTest::newRow("sorted keys, empty containers")
            << QJsonValue(QJsonObject{{"b", QJsonObject()}, {"a", QJsonArray{true, QJsonValue()}}}) << R"({"a":[true,null],"b":{}})"
            << "{\n  \"a\" : [\n    true,\n    null\n  ],\n  \"b\" : {}\n}";
        QTest::newRow("float score widened") << QJsonValue(double(0.123f)) << "0.12300000339746475" << "0.12300000339746475";
        QTest::newRow("big integer") << QJsonValue(qint64(9007199254740993)) << "9007199254740993" << "9007199254740993";
        QTest::newRow("not finite") << QJsonValue(QJsonArray{std::numeric_limits<double>::infinity()}) << "" << "";
    }

    void jsonText()
    {
        QFETCH(QJsonValue, value);
        QFETCH(QString, compact);
        QFETCH(QString, pretty);
        QCOMPARE(JsonText::compact(value).value_or(QString()), compact);
        QCOMPARE(JsonText::pretty(value).value_or(QString()), pretty);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestMCPServer)
#include "TestMCPServer.moc"
