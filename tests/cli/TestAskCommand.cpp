#include "LibraryStore.h"
#include "LocalHttpServer.h"
#include "PlatformWords.h"
#include "TestSupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>
#include "TestRegistry.h"

#include <atomic>

namespace {

// The command runs without a model configured.
const QString note = PlatformWords::chatFallbackNote({});

SavedTab tab(const QString &title, const QString &url, const QString &summary, const QDateTime &savedAt)
{
    SavedTab t;
    t.id = QUuid::createUuid();
    t.title = title;
    t.url = url;
    t.domain = SavedTab::domainOf(url);
    t.summary = summary;
    t.savedAt = savedAt;
    return t;
}

} // namespace

class TestAskCommand : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_home;
    LibraryData m_data;

    // No model is configured, so every answer is the keyword fallback.
    TestSupport::ProcessResult cli(const QStringList &args)
    {
        return TestSupport::run(qEnvironmentVariable("PELLMORA_CLI"), args,
                                {{QStringLiteral("XDG_DATA_HOME"), m_home.path()},
                                 {QStringLiteral("PELLMORA_MODEL"), QString()},
                                 {QStringLiteral("PELLMORA_EMBED_MODEL"), QString()}});
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        const QDateTime day = QDateTime(QDate(2026, 11, 16), QTime(10, 0), Qt::UTC);
        m_data.tabs = {tab("Suppenrezept", "https://koch.ch/suppe", "Eine Suppe.", day),
                       tab("Objektiv für die Kamera", "https://foto.ch/objektiv", "Objektive\nim Vergleich.", day),
                       tab("Kamera kaufen", "https://foto.ch/kamera", "", day.addDays(1))};
        QVERIFY(LibraryStore(m_home.filePath(QStringLiteral("Pellmora/library.json"))).save(m_data).ok());
    }

    void fallbackLines()
    {
        const auto r = cli({QStringLiteral("ask"), QStringLiteral("  Kamera ")});
        QCOMPARE(r.err, QString());
        QCOMPARE(r.exitCode, 0);
        // The newer of two equal hits first; an empty summary gives the title.
        QCOMPARE(r.out, "2 Tabs passen am besten zu deiner Frage. " + note + "\n"
                            "Kamera kaufen  https://foto.ch/kamera  Kamera kaufen\n"
                            "Objektiv für die Kamera  https://foto.ch/objektiv  Objektive im Vergleich.\n");
    }

    void json()
    {
        const auto r = cli({QStringLiteral("ask"), QStringLiteral("--json"), QStringLiteral("Kamera")});
        QCOMPARE(r.exitCode, 0);
        QJsonParseError error;
        const QJsonObject answer = QJsonDocument::fromJson(r.out.toUtf8(), &error).object();
        QCOMPARE(error.error, QJsonParseError::NoError);
        QCOMPARE(answer.keys(), (QStringList{"byAI", "cards", "text"}));
        QCOMPARE(answer.value("text").toString(), "2 Tabs passen am besten zu deiner Frage. " + note);
        QCOMPARE(answer.value("byAI"), QJsonValue(false));
        const QJsonArray cards = answer.value("cards").toArray();
        QCOMPARE(cards.size(), 2);
        const QJsonObject second = cards.at(1).toObject();
        QCOMPARE(second.keys(), (QStringList{"id", "reason", "title", "url"}));
        QCOMPARE(second.value("id").toString(), idText(m_data.tabs.at(1).id));
        QCOMPARE(second.value("title").toString(), QStringLiteral("Objektiv für die Kamera"));
        QCOMPARE(second.value("url").toString(), QStringLiteral("https://foto.ch/objektiv"));
        QCOMPARE(second.value("reason").toString(), QStringLiteral("Objektive\nim Vergleich."));
    }

    // With an embedding model, "search" (the MCP tool search_tabs) and "ask"
    // rank by meaning alike: the query shares no word with the camera tabs.
    void searchAndAskRankByMeaningAlike()
    {
        LocalHttpServer server;
        QVERIFY(server.isListening());
        std::atomic<int> embedded = 0;
        server.setHandler([&embedded](const LocalHttpServer::Request &request) {
            if (request.path != "/api/embed")
                return LocalHttpServer::Response{404, {}, {}, 0};
            ++embedded;
            const QString text =
                QJsonDocument::fromJson(request.body).object().value("input").toArray().first().toString();
            const bool photo = text.contains("Kamera") || text.contains("Foto");
            const QJsonArray vector{photo ? 1.0 : 0.0, text.contains("Suppe") ? 1.0 : 0.0, 0.1};
            LocalHttpServer::Response response;
            response.headers = {{"Content-Type", "application/json"}};
            response.body = QJsonDocument(QJsonObject{{"embeddings", QJsonArray{vector}}}).toJson();
            return response;
        });
        QTemporaryDir home;
        const QString file = home.filePath(QStringLiteral("Pellmora/library.json"));
        QVERIFY(LibraryStore(file).save(m_data).ok());
        const QHash<QString, QString> env{{QStringLiteral("XDG_DATA_HOME"), home.path()},
                                          {QStringLiteral("PELLMORA_MODEL"), QString()},
                                          {QStringLiteral("PELLMORA_MODEL_URL"), server.address("/")},
                                          {QStringLiteral("PELLMORA_EMBED_MODEL"), QStringLiteral("fake")}};
        const QString cliPath = qEnvironmentVariable("PELLMORA_CLI");
        const QString query = QStringLiteral("Fotoapparat");

        const auto search = TestSupport::run(cliPath, {"search", query, "--json"}, env);
        QCOMPARE(search.exitCode, 0);
        QStringList searched;
        for (const QJsonValue &hit : QJsonDocument::fromJson(search.out.toUtf8()).array())
            searched << hit["id"].toString();
        QCOMPARE(searched, (QStringList{idText(m_data.tabs.at(2).id), idText(m_data.tabs.at(1).id)}));
        // The vectors were made once and kept.
        const LibraryData stored = LibraryStore(file).load();
        QVERIFY2(stored.embedderKind.startsWith(QStringLiteral("server:fake-3")), qPrintable(stored.embedderKind));
        QCOMPARE(stored.embeddings.size(), m_data.tabs.size());

        embedded = 0;
        const auto ask = TestSupport::run(cliPath, {"ask", query, "--json"}, env);
        QCOMPARE(ask.exitCode, 0);
        QStringList asked;
        for (const QJsonValue &card : QJsonDocument::fromJson(ask.out.toUtf8()).object()["cards"].toArray())
            asked << card["id"].toString();
        QCOMPARE(asked, searched);
        // The probe and the question; the tabs' vectors came from the file.
        QCOMPARE(embedded.load(), 2);
        QCOMPARE(LibraryStore(file).load().embedderKind, stored.embedderKind);
    }

    void nothingFound()
    {
        const auto r = cli({QStringLiteral("ask"), QStringLiteral("Velotour")});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("Dazu habe ich in deinen gespeicherten Tabs nichts gefunden.\n"));
    }

    void help()
    {
        const auto r = cli({QStringLiteral("ask"), QStringLiteral("--help")});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.out.startsWith(QStringLiteral("Aufruf: pellmora-cli ask FRAGE [--json]\n")));
    }

    void usageErrors_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("no question") << QStringList{"ask"};
        QTest::newRow("only --json") << QStringList{"ask", "--json"};
        QTest::newRow("blank question") << QStringList{"ask", "   "};
        QTest::newRow("two questions") << QStringList{"ask", "Kamera", "Suppe"};
        QTest::newRow("unknown option") << QStringList{"ask", "--kurz", "Kamera"};
    }

    void usageErrors()
    {
        QFETCH(QStringList, args);
        const auto r = cli(args);
        QCOMPARE(r.exitCode, 2);
        QCOMPARE(r.out, QString());
        QVERIFY2(r.err.endsWith(QStringLiteral("Aufruf: pellmora-cli ask FRAGE [--json]\n")), qPrintable(r.err));
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestAskCommand)
#include "TestAskCommand.moc"
