#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpServer>
#include <QtTest>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "AIEngine.h"
#include "AIStatus.h"
#include "LocalHttpServer.h"
#include "ModelClient.h"
#include "SerialGate.h"
#include "ServerEmbeddingSource.h"
#include "Summarizer.h"
#include "TestRegistry.h"

using namespace std::chrono_literals;
using Availability = AIStatus::Availability;

namespace {

LocalHttpServer::Response json(const QJsonObject &object, int status = 200, int delayMs = 0)
{
    LocalHttpServer::Response r =
        LocalHttpServer::page(QJsonDocument(object).toJson(QJsonDocument::Compact), "application/json", delayMs);
    r.status = status;
    return r;
}

LocalHttpServer::Response status(int code)
{
    LocalHttpServer::Response r = LocalHttpServer::page("{}", "application/json");
    r.status = code;
    return r;
}

// An Ollama chat answer whose message content is the given text.
LocalHttpServer::Response ollamaChat(const QString &content, int delayMs = 0)
{
    return json({{"model", "m"},
                 {"message", QJsonObject{{"role", "assistant"}, {"content", content}}},
                 {"done", true}},
                200, delayMs);
}

LocalHttpServer::Response openAIChat(const QString &content)
{
    return json({{"choices", QJsonArray{QJsonObject{{"message", QJsonObject{{"content", content}}}}}}});
}

QJsonObject bodyOf(const LocalHttpServer::Request &request)
{
    return QJsonDocument::fromJson(request.body).object();
}

quint16 closedPort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost);
    return probe.serverPort(); // closed again when probe goes
}

} // namespace

class TestModelServer : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void availability_data();
    void availability();
    void serverDownIsAnotherReason();
    void ollamaRequest();
    void openAIAfterOllamaNotFound();
    void unusableReplies_data();
    void unusableReplies();
    void slowReplyPastTheLimit();
    void oneRequestAtATime();
    void summarizerPrompt();
    void summarizerConversions_data();
    void summarizerConversions();
    void summarizerFallback_data();
    void summarizerFallback();
    void embeddings_data();
    void embeddings();

private:
    ModelConfig config() const;
    std::unique_ptr<LocalHttpServer> m_server;
};

void TestModelServer::init()
{
    ModelClient::forgetApis();
    m_server = std::make_unique<LocalHttpServer>();
    QVERIFY(m_server->isListening());
    qputenv("PELLMORA_MODEL_URL", m_server->address(QStringLiteral("/")).toUtf8());
    qputenv("PELLMORA_MODEL", "gemma");
    qunsetenv("PELLMORA_EMBED_MODEL");
}

void TestModelServer::cleanup()
{
    m_server.reset();
    qunsetenv("PELLMORA_MODEL_URL");
    qunsetenv("PELLMORA_MODEL");
}

ModelConfig TestModelServer::config() const
{
    return ModelConfig::current();
}

void TestModelServer::availability_data()
{
    QTest::addColumn<QString>("model");
    QTest::addColumn<int>("tagsStatus");
    QTest::addColumn<QByteArray>("tags");
    QTest::addColumn<int>("modelsStatus");
    QTest::addColumn<QByteArray>("models");
    QTest::addColumn<Availability>("expected");
    QTest::addColumn<int>("requests");

    const QByteArray ollamaList = R"({"models":[{"name":"gemma:latest","model":"gemma:latest"},{"name":"llama3:8b"}]})";
    const QByteArray openAIList = R"({"object":"list","data":[{"id":"gemma"}]})";
    QTest::newRow("no model name") << "" << 200 << ollamaList << 0 << QByteArray() << Availability::notEnabled << 0;
    QTest::newRow("ollama, model present") << "gemma" << 200 << ollamaList << 0 << QByteArray()
                                           << Availability::available << 3;
    QTest::newRow("ollama, model with tag") << "llama3:8b" << 200 << ollamaList << 0 << QByteArray()
                                            << Availability::available << 3;
    QTest::newRow("ollama, model missing") << "mistral" << 200 << ollamaList << 0 << QByteArray()
                                           << Availability::modelNotReady << 3;
    QTest::newRow("openai, model present") << "gemma" << 404 << QByteArray() << 200 << openAIList
                                           << Availability::available << 4;
    QTest::newRow("openai, model missing") << "qwen" << 404 << QByteArray() << 200 << openAIList
                                           << Availability::modelNotReady << 4;
    QTest::newRow("openai, still loading") << "gemma" << 404 << QByteArray() << 503 << QByteArray()
                                           << Availability::modelNotReady << 6;
    QTest::newRow("neither api") << "gemma" << 404 << QByteArray() << 404 << QByteArray()
                                 << Availability::otherReason << 6;
    QTest::newRow("server error") << "gemma" << 500 << QByteArray() << 0 << QByteArray()
                                  << Availability::otherReason << 3;
}

void TestModelServer::availability()
{
    QFETCH(QString, model);
    QFETCH(int, tagsStatus);
    QFETCH(QByteArray, tags);
    QFETCH(int, modelsStatus);
    QFETCH(QByteArray, models);
    QFETCH(Availability, expected);
    QFETCH(int, requests);

    LocalHttpServer::Response tagsReply = LocalHttpServer::page(tags, "application/json");
    tagsReply.status = tagsStatus;
    m_server->route("/api/tags", tagsReply);
    if (modelsStatus) {
        LocalHttpServer::Response modelsReply = LocalHttpServer::page(models, "application/json");
        modelsReply.status = modelsStatus;
        m_server->route("/v1/models", modelsReply);
    }
    qputenv("PELLMORA_MODEL", model.toUtf8());
    QCOMPARE(AIStatus::availability(), expected);
    QCOMPARE(AIStatus::isAvailable(), expected == Availability::available);
    QCOMPARE(AIStatus::description(), AIStatus::description(expected));
    // Three questions, each asked anew; a detected compatible API is not probed
    // on the Ollama path again.
    QCOMPARE(m_server->requests().size(), requests);
}

void TestModelServer::serverDownIsAnotherReason()
{
    ModelConfig down{QUrl(QStringLiteral("http://127.0.0.1:%1").arg(closedPort())), QStringLiteral("gemma"), {}};
    QCOMPARE(ModelClient(down).availability(), Availability::otherReason);
    QVERIFY(!ModelClient(down).generate(AIEngine::instructions(), "x", Summarizer::schema()));

    // A server off the loopback interface is never asked, even with a model.
    m_server->route("/api/tags", json({{"models", QJsonArray{QJsonObject{{"name", "gemma"}}}}}));
    ModelConfig remote{QUrl(QStringLiteral("http://10.0.0.7:%1").arg(m_server->port())), QStringLiteral("gemma"), {}};
    QCOMPARE(ModelClient(remote).availability(), Availability::otherReason);
    QVERIFY(!AIEngine::generate(remote, "x", Summarizer::schema(), 5s));
    QCOMPARE(m_server->requests().size(), 0);
}

void TestModelServer::ollamaRequest()
{
    m_server->route("/api/chat", ollamaChat(R"({"summary":"Ein Satz.","tags":["a"]})"));
    const std::optional<QJsonObject> reply = AIEngine::generate("Fasse zusammen.", Summarizer::schema(), 10s);
    QVERIFY(reply);
    QCOMPARE(reply->value("summary").toString(), QStringLiteral("Ein Satz."));
    QCOMPARE(ModelClient(config()).api(), ModelClient::Api::ollama);

    const QList<LocalHttpServer::Request> log = m_server->requests();
    QCOMPARE(log.size(), 1);
    QCOMPARE(log[0].method, QByteArray("POST"));
    QCOMPARE(log[0].path, QByteArray("/api/chat"));
    const QJsonObject body = bodyOf(log[0]);
    QCOMPARE(body.value("model").toString(), QStringLiteral("gemma"));
    QCOMPARE(body.value("stream"), QJsonValue(false));
    QCOMPARE(body.value("format").toObject(), Summarizer::schema().toJson());
    const QJsonArray messages = body.value("messages").toArray();
    QCOMPARE(messages.size(), 2); // a fresh conversation: nothing carried over
    QCOMPARE(messages[0].toObject().value("role").toString(), QStringLiteral("system"));
    QCOMPARE(messages[0].toObject().value("content").toString(), AIEngine::instructions());
    const QString user = messages[1].toObject().value("content").toString();
    QVERIFY(user.startsWith(QStringLiteral("Fasse zusammen.\n")));
    QVERIFY(user.contains(QString::fromUtf8(QJsonDocument(Summarizer::schema().toJson()).toJson(QJsonDocument::Compact))));

    // The next request starts afresh too.
    QVERIFY(AIEngine::generate("Noch einmal.", Summarizer::schema(), 10s));
    QCOMPARE(bodyOf(m_server->requests().last()).value("messages").toArray().size(), 2);
}

void TestModelServer::openAIAfterOllamaNotFound()
{
    m_server->route("/v1/chat/completions", openAIChat(R"({"summary":"Satz.","tags":[]})"));
    QVERIFY(AIEngine::generate("P", Summarizer::schema(), 10s));
    QCOMPARE(m_server->requestCount("/api/chat"), 1);
    QCOMPARE(m_server->requestCount("/v1/chat/completions"), 1);
    const QJsonObject body = bodyOf(m_server->requests().last());
    const QJsonObject format = body.value("response_format").toObject();
    QCOMPARE(format.value("type").toString(), QStringLiteral("json_schema"));
    QCOMPARE(format.value("json_schema").toObject().value("schema").toObject(), Summarizer::schema().toJson());
    QCOMPARE(body.value("messages").toArray()[0].toObject().value("content").toString(), AIEngine::instructions());

    // Remembered: the second request goes straight to the compatible API.
    QVERIFY(AIEngine::generate("P", Summarizer::schema(), 10s));
    QCOMPARE(m_server->requestCount("/api/chat"), 1);
    QCOMPARE(m_server->requestCount("/v1/chat/completions"), 2);
}

void TestModelServer::unusableReplies_data()
{
    QTest::addColumn<LocalHttpServer::Response>("response");
    QTest::newRow("prose") << ollamaChat("Gerne fasse ich das zusammen.");
    QTest::newRow("missing tags") << ollamaChat(R"({"summary":"Satz."})");
    QTest::newRow("tags not strings") << ollamaChat(R"({"summary":"Satz.","tags":[1,2]})");
    QTest::newRow("array instead of object") << ollamaChat(R"([{"summary":"Satz.","tags":[]}])");
    QTest::newRow("server error") << status(500);
    QTest::newRow("broken envelope") << LocalHttpServer::page("{\"message\":", "application/json");
}

void TestModelServer::unusableReplies()
{
    QFETCH(LocalHttpServer::Response, response);
    m_server->route("/api/chat", response);
    QVERIFY(!AIEngine::generate("P", Summarizer::schema(), 10s));
    QVERIFY(!AIEngine::gate().isBusy());
    QCOMPARE(m_server->requestCount("/v1/chat/completions"), 0);
}

void TestModelServer::slowReplyPastTheLimit()
{
    m_server->route("/api/tags", json({{"models", QJsonArray{QJsonObject{{"name", "gemma"}}}}}));
    m_server->route("/api/chat", ollamaChat(R"({"summary":"Zu spät.","tags":[]})", 5000));
    const SummaryResult result = Summarizer(200ms).summarize("Wetter Zürich", "Heute scheint über ganz Zürich die Sonne bis zum Abend.");
    QVERIFY(!result.byAI);
    QCOMPARE(result.summary, QStringLiteral("Heute scheint über ganz Zürich die Sonne bis zum Abend."));
    QVERIFY(!AIEngine::gate().isBusy());
}

void TestModelServer::oneRequestAtATime()
{
    m_server->route("/api/chat", ollamaChat(R"({"summary":"S.","tags":[]})", 150));
    const ModelConfig server = config();
    std::atomic<int> answered = 0;
    std::vector<std::thread> callers;
    for (int i = 0; i < 3; ++i)
        callers.emplace_back([&, server] {
            if (AIEngine::generate(server, "P", Summarizer::schema(), 30s))
                ++answered;
        });
    for (std::thread &caller : callers)
        caller.join();
    QCOMPARE(answered.load(), 3);
    QCOMPARE(m_server->requestCount("/api/chat"), 3);
    QCOMPARE(m_server->maxInFlight(), 1);
}

void TestModelServer::summarizerPrompt()
{
    QCOMPARE(Summarizer::prompt("Wetter Zürich", ""),
             QStringLiteral("Fasse diese Webseite zusammen.\nTitel: Wetter Zürich\nText: (kein Text, nur der Titel)"));
    // 2500 characters of text at most, counted as the user sees them.
    const QString flag = QStringLiteral("🇨🇭");
    QString text;
    for (int i = 0; i < 2600; ++i)
        text += flag;
    const QString prompt = Summarizer::prompt("T", text);
    QCOMPARE(prompt.size(), QStringLiteral("Fasse diese Webseite zusammen.\nTitel: T\nText: ").size() + 2500 * flag.size());
}

void TestModelServer::summarizerConversions_data()
{
    QTest::addColumn<QString>("content");
    QTest::addColumn<QString>("summary");
    QTest::addColumn<QStringList>("tags");
    QTest::addColumn<bool>("byAI");

    QTest::newRow("good") << R"({"summary":"  Das Wetter in Zürich.\n","tags":["Wetter","Zürich"]})"
                          << "Das Wetter in Zürich." << QStringList{"Wetter", "Zürich"} << true;
    QTest::newRow("five tags keep three") << R"({"summary":"S.","tags":["a","b","c","d","e"]})" << "S."
                                          << QStringList{"a", "b", "c"} << true;
    QTest::newRow("blank tag dropped") << R"({"summary":"S.","tags":["a","  \t ","c","d"]})" << "S."
                                       << QStringList{"a", "c"} << true;
    QTest::newRow("tags keep line breaks and case") << R"({"summary":"S.","tags":[" \tWetter\n ","wetter"]})"
                                                    << "S." << QStringList{"Wetter\n", "wetter"} << true;
    QTest::newRow("blank summary falls back") << R"({"summary":" \n ","tags":["a"]})" << "Die Seite zeigt das Wetter für die ganze Schweiz von heute."
                                              << QStringList() << false;
    QTest::newRow("unparsable falls back") << "kein JSON" << "Die Seite zeigt das Wetter für die ganze Schweiz von heute." << QStringList() << false;
    QTest::newRow("fenced json is read") << "```json\n{\"summary\":\"S.\",\"tags\":[]}\n```" << "S." << QStringList()
                                         << true;
    QString longSummary(200, QLatin1Char('x'));
    QTest::newRow("long summary cut") << QStringLiteral(R"({"summary":"%1","tags":[]})").arg(longSummary)
                                      << QString(159, QLatin1Char('x')) + QStringLiteral("…") << QStringList() << true;
}

void TestModelServer::summarizerConversions()
{
    QFETCH(QString, content);
    QFETCH(QString, summary);
    QFETCH(QStringList, tags);
    QFETCH(bool, byAI);
    m_server->route("/api/tags", json({{"models", QJsonArray{QJsonObject{{"name", "gemma"}}}}}));
    m_server->route("/api/chat", ollamaChat(content));
    const SummaryResult result = Summarizer().summarize("Wetter", "Die Seite zeigt das Wetter für die ganze Schweiz von heute. Morgen regnet es.");
    QCOMPARE(m_server->requestCount("/api/chat"), 1);
    QCOMPARE(result.byAI, byAI);
    QCOMPARE(result.summary, summary);
    if (byAI)
        QCOMPARE(result.tags, tags);
    else
        QCOMPARE(result, Summarizer::fallback("Wetter", "Die Seite zeigt das Wetter für die ganze Schweiz von heute. Morgen regnet es."));
}

void TestModelServer::summarizerFallback_data()
{
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("summary");
    QTest::addColumn<QStringList>("tags");

    QTest::newRow("nothing") << "" << "" << "Ohne Inhalt gespeichert." << QStringList();
    QTest::newRow("title only") << "Fondue Rezepte" << "" << "Fondue Rezepte" << QStringList{"Fondue", "Rezepte"};
    const QString longTitle = QString(170, QLatin1Char('a'));
    QTest::newRow("long title cut") << longTitle << "" << QString(159, QLatin1Char('a')) + QStringLiteral("…")
                                    << QStringList{longTitle};
    QTest::newRow("first sentence of the text")
        << "Fondue Caquelon" << "Käse schmilzt langsam im Caquelon über kleiner Flamme. Dann kommt Brot."
        << "Käse schmilzt langsam im Caquelon über kleiner Flamme." << QStringList{"Caquelon", "Fondue"};
}

void TestModelServer::summarizerFallback()
{
    QFETCH(QString, title);
    QFETCH(QString, text);
    QFETCH(QString, summary);
    QFETCH(QStringList, tags);
    // The model is down: no server answers on the tags path.
    const SummaryResult result = Summarizer().summarize(title, text);
    QCOMPARE(result.summary, summary);
    QCOMPARE(result.byAI, false);
    QCOMPARE(result.tags, tags);
    if (title.isEmpty() && text.isEmpty())
        QCOMPARE(m_server->requests().size(), 0); // nothing to summarise: the model is not asked
}

void TestModelServer::embeddings_data()
{
    QTest::addColumn<bool>("ollama");
    QTest::newRow("ollama") << true;
    QTest::newRow("openai compatible") << false;
}

void TestModelServer::embeddings()
{
    QFETCH(bool, ollama);
    m_server->setHandler([ollama](const LocalHttpServer::Request &request) {
        const QJsonObject body = QJsonDocument::fromJson(request.body).object();
        const QString input = body.value("input").toArray().first().toString();
        // The vector's length follows the text, so a text of another length
        // gets a vector of the wrong dimension.
        QJsonArray vector;
        for (qsizetype i = 0; i < input.size(); ++i)
            vector.append(double(i + 1));
        if (ollama && request.path == "/api/embed")
            return json({{"embeddings", QJsonArray{vector}}});
        if (!ollama && request.path == "/v1/embeddings")
            return json({{"data", QJsonArray{QJsonObject{{"embedding", vector}}}}});
        return status(404);
    });
    QVERIFY(!ServerEmbeddingSource::create(config())); // no embedding model set
    qputenv("PELLMORA_EMBED_MODEL", "nomic");
    std::unique_ptr<ServerEmbeddingSource> source = ServerEmbeddingSource::create(config());
    QVERIFY(source);
    QCOMPARE(source->dimension(), 5); // "Probe"
    QCOMPARE(source->identity(), QStringLiteral("server:nomic-5"));
    QCOMPARE(source->vector("Hallo"), std::optional<Vector>(Vector{1, 2, 3, 4, 5}));
    QCOMPARE(source->vector("Hallo Welt"), std::nullopt); // wrong dimension
    QCOMPARE(bodyOf(m_server->requests().last()).value("model").toString(), QStringLiteral("nomic"));
    m_server.reset(); // server gone: no vector
    QCOMPARE(source->vector("Hallo"), std::nullopt);
}

PELLMORA_TEST_GUILESS_MAIN(TestModelServer)
#include "TestModelServer.moc"
