#include <QJsonArray>
#include <QJsonDocument>
#include <QTcpServer>
#include <QtTest>

#include <atomic>
#include <thread>

#include "AIEngine.h"
#include "AIStatus.h"
#include "FakeModelServer.h"
#include "ModelClient.h"
#include "SerialGate.h"
#include "ServerEmbeddingSource.h"
#include "Summarizer.h"
#include "TestRegistry.h"

using namespace std::chrono_literals;
using Availability = AIStatus::Availability;
using Response = LocalHttpServer::Response;

namespace {

template <typename F>
void waitFor(F condition)
{
    while (!condition())
        std::this_thread::sleep_for(1ms);
}

Response reply(int status, const QByteArray &body = "{}")
{
    Response r = LocalHttpServer::page(body, "application/json");
    r.status = status;
    return r;
}

Response chat(const QString &content, int delayMs = 0)
{
    return FakeModelServer::ollamaChat(content, 200, delayMs);
}

} // namespace

// The model client's protocol with the local server, the one gate and the
// time limit around it, and the summaries made from the answers.
class TestModelClient : public QObject
{
    Q_OBJECT

private slots:
    void init() { ModelClient::forgetApis(); }

    void loopback_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<bool>("loopback");
        QTest::newRow("localhost in capitals") << "http://LocalHost:8080" << true;
        QTest::newRow("ipv6 loopback") << "http://[::1]:8080" << true;
        QTest::newRow("lan address") << "http://192.168.1.20:11434" << false;
        QTest::newRow("localhost lookalike") << "http://localhost.example.com" << false;
    }

    void loopback()
    {
        QFETCH(QString, url);
        QFETCH(bool, loopback);
        QCOMPARE(ModelConfig::isLoopback(QUrl(url)), loopback);
    }

    void availability_data()
    {
        QTest::addColumn<QString>("model");
        QTest::addColumn<Response>("tags");
        QTest::addColumn<Response>("models"); // the compatible API's list
        QTest::addColumn<Availability>("expected");
        QTest::addColumn<int>("requests");
        const Response ollama = reply(200, R"({"models":[{"name":"gemma:latest"},{"name":"llama3:8b"}]})");
        const Response openAI = reply(200, R"({"object":"list","data":[{"id":"gemma"}]})");
        const Response none = reply(404);
        // Each of three questions asks anew; a server found to speak the
        // compatible API is not probed on the Ollama path again.
        QTest::newRow("no model name") << "" << ollama << none << Availability::notEnabled << 0;
        QTest::newRow("ollama, latest tag") << "gemma" << ollama << none << Availability::available << 3;
        QTest::newRow("ollama, other tag") << "llama3:8b" << ollama << none << Availability::available << 3;
        QTest::newRow("ollama, model missing") << "mistral" << ollama << none << Availability::modelNotReady << 3;
        QTest::newRow("openai, model present") << "gemma" << none << openAI << Availability::available << 4;
        QTest::newRow("openai, model missing") << "qwen" << none << openAI << Availability::modelNotReady << 4;
        QTest::newRow("openai, still loading") << "gemma" << none << reply(503) << Availability::modelNotReady << 6;
        QTest::newRow("neither api") << "gemma" << none << none << Availability::otherReason << 6;
        QTest::newRow("server error") << "gemma" << reply(500) << none << Availability::otherReason << 3;
    }

    void availability()
    {
        QFETCH(QString, model);
        QFETCH(Response, tags);
        QFETCH(Response, models);
        QFETCH(Availability, expected);
        QFETCH(int, requests);
        FakeModelServer server;
        server.route("/api/tags", tags);
        server.route("/v1/models", models);
        qputenv("PELLMORA_MODEL", model.toUtf8());
        QCOMPARE(AIStatus::availability(), expected);
        QCOMPARE(AIStatus::isAvailable(), expected == Availability::available);
        QCOMPARE(AIStatus::description(), AIStatus::description(expected));
        QCOMPARE(server.requests().size(), requests);
    }

    void unreachableServerIsNeverAsked()
    {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost));
        const ModelConfig down{QUrl(QStringLiteral("http://127.0.0.1:%1").arg(probe.serverPort())), "gemma", {}};
        probe.close();
        QCOMPARE(ModelClient(down).availability(), Availability::otherReason);
        QVERIFY(!ModelClient(down).generate(AIEngine::instructions(), "x", Summarizer::schema()));
        // A server off the loopback interface is never asked, even with a model.
        FakeModelServer server;
        const ModelConfig remote{QUrl(QStringLiteral("http://10.0.0.7:%1").arg(server.port())), "gemma", {}};
        QCOMPARE(ModelClient(remote).availability(), Availability::otherReason);
        QVERIFY(!AIEngine::generate(remote, "x", Summarizer::schema(), 5s));
        QCOMPARE(server.requests().size(), 0);
    }

    void ollamaRequest()
    {
        FakeModelServer server;
        server.route("/api/chat", chat(R"({"summary":"Ein Satz.","tags":["a"]})"));
        const std::optional<QJsonObject> answer = AIEngine::generate("Fasse zusammen.", Summarizer::schema(), 10s);
        QCOMPARE(answer.value_or(QJsonObject())["summary"].toString(), "Ein Satz.");
        QVERIFY(AIEngine::generate("Noch einmal.", Summarizer::schema(), 10s));
        QCOMPARE(ModelClient(ModelConfig::current()).api(), ModelClient::Api::ollama);
        QCOMPARE(server.requests().first().method, "POST");
        const QJsonObject body = server.bodies().value(1);
        QCOMPARE(body["model"].toString(), "gemma");
        QCOMPARE(body["stream"], QJsonValue(false));
        QCOMPARE(body["format"].toObject(), Summarizer::schema().toJson());
        const QJsonArray messages = body["messages"].toArray();
        QCOMPARE(messages.size(), 2); // a fresh conversation each time
        QCOMPARE(messages[0]["content"].toString(), AIEngine::instructions());
        QVERIFY(messages[1]["content"].toString().startsWith("Noch einmal.\n"));
    }

    void openAIAfterOllamaNotFound()
    {
        FakeModelServer server;
        server.route("/v1/chat/completions", FakeModelServer::openAIChat(R"({"summary":"Satz.","tags":[]})"));
        QVERIFY(AIEngine::generate("P", Summarizer::schema(), 10s));
        const QJsonObject body = server.bodies("/v1/chat/completions").value(0);
        QCOMPARE(body["response_format"]["json_schema"]["schema"].toObject(), Summarizer::schema().toJson());
        QCOMPARE(body["messages"][0]["content"].toString(), AIEngine::instructions());
        // Remembered: the second request goes straight to the compatible API.
        QVERIFY(AIEngine::generate("P", Summarizer::schema(), 10s));
        QCOMPARE(server.requestCount("/api/chat"), 1);
        QCOMPARE(server.requestCount("/v1/chat/completions"), 2);
    }

    void replies_data()
    {
        QTest::addColumn<Response>("response");
        QTest::addColumn<bool>("usable");
        QTest::newRow("fenced json") << chat("```json\n{\"summary\":\"S.\",\"tags\":[]}\n```") << true;
        QTest::newRow("prose") << chat("Gerne fasse ich das zusammen.") << false;
        QTest::newRow("missing tags") << chat(R"({"summary":"Satz."})") << false;
        QTest::newRow("tags not strings") << chat(R"({"summary":"S.","tags":[1,2]})") << false;
        QTest::newRow("array") << chat(R"([{"summary":"S.","tags":[]}])") << false;
        QTest::newRow("server error") << reply(500) << false;
        QTest::newRow("broken envelope") << reply(200, "{\"message\":") << false;
    }

    void replies()
    {
        QFETCH(Response, response);
        QFETCH(bool, usable);
        FakeModelServer server;
        server.route("/api/chat", response);
        QCOMPARE(AIEngine::generate("P", Summarizer::schema(), 10s).has_value(), usable);
        QVERIFY(!AIEngine::gate().isBusy());
        QCOMPARE(server.requestCount("/v1/chat/completions"), 0);
    }

    void slowReplyFallsBack()
    {
        FakeModelServer server;
        server.route("/api/chat", chat(R"({"summary":"Zu spät.","tags":[]})", 3000));
        const QString text = QStringLiteral("Heute scheint über ganz Zürich die Sonne bis zum Abend.");
        const SummaryResult result = Summarizer(200ms).summarize("Wetter", text);
        QCOMPARE(result, (SummaryResult{text, {"Wetter", "Abend"}, false}));
        QVERIFY(!AIEngine::gate().isBusy());
        QVERIFY(!Summarizer().summarize("", "").byAI); // nothing to summarise: not asked
        QCOMPARE(server.requestCount("/api/chat"), 1);
    }

    void oneRequestAtATimeInArrivalOrder()
    {
        FakeModelServer server;
        server.route("/api/chat", chat(R"({"summary":"S.","tags":[]})", 50));
        const ModelConfig config = ModelConfig::current();
        SerialGate &gate = AIEngine::gate();
        std::atomic<int> answered = 0;
        std::vector<std::jthread> callers;
        gate.acquire(); // held until all three wait
        for (int i = 0; i < 3; ++i) {
            callers.emplace_back([&, i] { answered += AIEngine::generate(config, QString::number(i), Summarizer::schema(), 30s) ? 1 : 0; });
            waitFor([&] { return gate.waitingCount() == i + 1; });
        }
        gate.release();
        callers.clear();
        QCOMPARE(answered.load(), 3);
        QCOMPARE(server.maxInFlight(), 1);
        QStringList order;
        for (const QJsonObject &body : server.bodies())
            order << FakeModelServer::userMessage(body).left(1);
        QCOMPARE(order, (QStringList{"0", "1", "2"}));
        QVERIFY_THROWS_EXCEPTION(std::runtime_error, gate.run([]() -> int { throw std::runtime_error("x"); }));
        QVERIFY(!gate.isBusy());
    }

    void summaryFromReply_data()
    {
        QTest::addColumn<QJsonObject>("record");
        QTest::addColumn<QString>("summary"); // empty: unusable
        QTest::addColumn<QStringList>("tags");
        QTest::newRow("trimmed, five tags keep three")
            << QJsonObject{{"summary", " S.\n"}, {"tags", QJsonArray{"a", "b", "c", "d"}}} << "S." << QStringList{"a", "b", "c"};
        QTest::newRow("blank tag takes a place, line breaks stay")
            << QJsonObject{{"summary", "S."}, {"tags", QJsonArray{" \tWetter\n ", " \t ", "c", "d"}}} << "S."
            << QStringList{"Wetter\n", "c"};
        QTest::newRow("long summary cut") << QJsonObject{{"summary", QString(200, u'x')}, {"tags", QJsonArray{}}}
                                          << QString(159, u'x') + u'…' << QStringList{};
        QTest::newRow("blank summary") << QJsonObject{{"summary", " \n "}, {"tags", QJsonArray{"a"}}} << "" << QStringList{};
    }

    void summaryFromReply()
    {
        QFETCH(QJsonObject, record);
        QFETCH(QString, summary);
        QFETCH(QStringList, tags);
        const std::optional<SummaryResult> result = Summarizer::fromReply(record);
        const SummaryResult expected{summary, tags, true};
        QCOMPARE(result.value_or(SummaryResult{}), summary.isEmpty() ? SummaryResult{} : expected);
    }

    void embeddings_data()
    {
        QTest::addColumn<bool>("ollama");
        QTest::newRow("ollama") << true;
        QTest::newRow("openai compatible") << false;
    }

    void embeddings()
    {
        QFETCH(bool, ollama);
        auto server = std::make_unique<FakeModelServer>();
        server->setHandler([ollama](const LocalHttpServer::Request &request) {
            // As long as the text, so another length is another dimension.
            QJsonArray vector;
            for (qsizetype i = 0; i < QJsonDocument::fromJson(request.body)["input"][0].toString().size(); ++i)
                vector.append(double(i + 1));
            if (ollama && request.path == "/api/embed")
                return FakeModelServer::json({{"embeddings", QJsonArray{vector}}});
            if (!ollama && request.path == "/v1/embeddings")
                return FakeModelServer::json({{"data", QJsonArray{QJsonObject{{"embedding", vector}}}}});
            return reply(404);
        });
        qunsetenv("PELLMORA_EMBED_MODEL");
        QVERIFY(!ServerEmbeddingSource::create());
        qputenv("PELLMORA_EMBED_MODEL", "nomic");
        std::unique_ptr<ServerEmbeddingSource> source = ServerEmbeddingSource::create();
        QVERIFY(source);
        QCOMPARE(source->identity(), "server:nomic-5"); // the probe text's length
        QCOMPARE(source->vector("Hallo"), std::optional<Vector>(Vector{1, 2, 3, 4, 5}));
        QCOMPARE(source->vector("Hallo Welt"), std::nullopt);
        QCOMPARE(QJsonDocument::fromJson(server->requests().last().body)["model"].toString(), "nomic");
        server.reset();
        QCOMPARE(source->vector("Hallo"), std::nullopt);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestModelClient)
#include "TestModelClient.moc"
