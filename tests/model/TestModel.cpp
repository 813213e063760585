#include <QJsonArray>
#include <QJsonDocument>
#include <QTcpServer>
#include <QtTest>

#include <atomic>
#include <cmath>
#include <thread>

#include "AIEngine.h"
#include "AIStatus.h"
#include "Chat.h"
#include "Embedder.h"
#include "FakeModelServer.h"
#include "LibraryBuilder.h"
#include "ModelClient.h"
#include "SerialGate.h"
#include "ServerEmbeddingSource.h"
#include "Summarizer.h"
#include "TopicClusterer.h"
#include "TopicPalette.h"
#include "TestRegistry.h"

using namespace std::chrono_literals;
using Availability = AIStatus::Availability;
using Response = LocalHttpServer::Response;
using Numbers = QList<int>; // tab numbers as LibraryBuilder counts them

namespace {

Response reply(int status, const QByteArray &body = "{}")
{
    Response r = LocalHttpServer::page(body, "application/json");
    r.status = status;
    return r;
}

template <typename Content>
Response chat(const Content &content, int delayMs = 0)
{
    return FakeModelServer::ollamaChat(content, 200, delayMs);
}

QJsonObject picks(const QList<std::pair<double, QString>> &picks, const QJsonValue &intro = "Ja.")
{
    QJsonArray array;
    for (const auto &[number, reason] : picks)
        array << QJsonObject{{"number", number}, {"reason", reason}};
    return {{"intro", intro}, {"picks", array}};
}

QStringList cardsOf(const ChatAnswer &answer)
{
    QStringList cards;
    for (const ChatCard &card : answer.cards)
        cards.append(card.tab.title + ": " + card.reason);
    return cards;
}

// Vectors stored under the hashed-words kind; addresses in the order added,
// so the clusterer's working order (by address) is the library's.
LibraryData library(const QList<Vector> &vectors, const QStringList &titles = {})
{
    LibraryBuilder builder;
    for (qsizetype i = 0; i < vectors.size(); ++i)
        builder.tab(titles.value(i, "Tab"), QStringLiteral("https://t.ch/%1").arg(i, 4, 10, QLatin1Char('0'))).vector(vectors[i]);
    return builder.embedderKind(Embedder(false).kind());
}

// Zero vectors leave the chat's search to the words alone.
LibraryData wordsOnly(const QStringList &titles)
{
    return library(QList<Vector>(titles.size(), Vector(Embedder(false).dimension(), 0.0f)), titles);
}

QList<QUuid> ids(const Numbers &numbers)
{
    QList<QUuid> out;
    for (int n : numbers)
        out.append(LibraryBuilder::tabId(n));
    return out;
}

// The model asked for, the answers to the Ollama and the compatible API's
// model lists, and what the three questions about it find and cost.
struct Probe { QString model; Response tags, models; Availability expected; int requests; };

// The model's answer for a topic's name (undefined: no model chosen).
struct Naming { QJsonValue answer; QString name; int delayMs = 0; bool useAI = true; };

TopicClusterer clusterer(std::chrono::milliseconds nameLimit = TopicClusterer::defaultNameLimit)
{
    return TopicClusterer(std::make_shared<Embedder>(false), 0.12f, 0.10f, 0.02f, nameLimit);
}

} // namespace

// The language model's features: the client's protocol with the local
// server, the summaries, the topics it names and the chat it answers, each
// falling back without it.
class TestModel : public QObject
{
    Q_OBJECT
    std::shared_ptr<Embedder> m_embedder = std::make_shared<Embedder>(false);

private slots:
    void init() { ModelClient::forgetApis(); }

    void availability_data()
    {
        QTest::addColumn<Probe>("row");
        const Response ollama = reply(200, R"({"models":[{"name":"gemma:latest"},{"name":"llama3:8b"}]})");
        const Response openAI = reply(200, R"({"object":"list","data":[{"id":"gemma"}]})");
        const Response none = reply(404);
        // Each of three questions asks anew; a server found to speak the
        // compatible API is not probed on the Ollama path again.
        QTest::newRow("no model name") << Probe{"", ollama, none, Availability::notEnabled, 0};
        QTest::newRow("ollama, latest tag") << Probe{"gemma", ollama, none, Availability::available, 3};
        QTest::newRow("ollama, model missing") << Probe{"mistral", ollama, none, Availability::modelNotReady, 3};
        QTest::newRow("openai, model present") << Probe{"gemma", none, openAI, Availability::available, 4};
        QTest::newRow("openai, still loading") << Probe{"gemma", none, reply(503), Availability::modelNotReady, 6};
        QTest::newRow("neither api") << Probe{"gemma", none, none, Availability::otherReason, 6};
        QTest::newRow("server error") << Probe{"gemma", reply(500), none, Availability::otherReason, 3};
    }

    void availability()
    {
        QFETCH(Probe, row);
        FakeModelServer server;
        server.route("/api/tags", row.tags);
        server.route("/v1/models", row.models);
        qputenv("PELLMORA_MODEL", row.model.toUtf8());
        QCOMPARE(AIStatus::availability(), row.expected);
        QCOMPARE(AIStatus::isAvailable(), row.expected == Availability::available);
        QCOMPARE(AIStatus::description(), AIStatus::description(row.expected));
        QCOMPARE(server.requests().size(), row.requests);
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
        QVERIFY(ModelConfig::isLoopback(QUrl("http://[::1]:8080")) && ModelConfig::isLoopback(QUrl("http://LocalHost:80")));
        QVERIFY(!ModelConfig::isLoopback(QUrl("http://localhost.example.com")));
    }

    void requestsOnBothApis()
    {
        FakeModelServer server;
        server.route("/api/chat", chat(R"({"summary":"Ein Satz.","tags":["a"]})"));
        QCOMPARE(AIEngine::generate("Eins.", Summarizer::schema(), 10s).value_or(QJsonObject())["summary"].toString(), "Ein Satz.");
        QVERIFY(AIEngine::generate("Noch einmal.", Summarizer::schema(), 10s));
        QCOMPARE(server.requests().first().method, "POST");
        const QJsonObject body = server.bodies().value(1);
        QVERIFY(body["model"] == "gemma" && body["stream"] == false);
        QCOMPARE(body["format"].toObject(), Summarizer::schema().toJson());
        const QJsonArray messages = body["messages"].toArray();
        QCOMPARE(messages.size(), 2); // a fresh conversation each time
        QCOMPARE(messages[0]["content"].toString(), AIEngine::instructions());
        QVERIFY(messages[1]["content"].toString().startsWith("Noch einmal.\n"));

        // Another server without the Ollama path: the compatible API, remembered.
        FakeModelServer compatible;
        compatible.route("/v1/chat/completions", FakeModelServer::openAIChat(R"({"summary":"Satz.","tags":[]})"));
        QVERIFY(AIEngine::generate("P", Summarizer::schema(), 10s) && AIEngine::generate("P", Summarizer::schema(), 10s));
        QVERIFY(compatible.requestCount("/api/chat") == 1 && compatible.requestCount("/v1/chat/completions") == 2);
        const QJsonObject openAI = compatible.bodies("/v1/chat/completions").value(0);
        QCOMPARE(openAI["response_format"]["json_schema"]["schema"].toObject(), Summarizer::schema().toJson());
        QCOMPARE(openAI["messages"][0]["content"].toString(), AIEngine::instructions());
    }

    void replies_data()
    {
        QTest::addColumn<Response>("response");
        QTest::addColumn<QString>("summary"); // empty: the model's answer is not used
        QTest::newRow("fenced json, trimmed") << chat("```json\n{\"summary\":\" S.\\n\",\"tags\":[]}\n```") << "S.";
        QTest::newRow("long summary cut") << chat(QStringLiteral(R"({"summary":"%1","tags":[]})").arg(QString(200, u'x')))
                                          << QString(159, u'x') + u'…';
        QTest::newRow("prose") << chat("Gerne fasse ich das zusammen.") << "";
        QTest::newRow("tags not strings") << chat(R"({"summary":"S.","tags":[1,2]})") << "";
        QTest::newRow("blank summary") << chat(R"({"summary":" \n ","tags":[]})") << "";
        QTest::newRow("array") << chat(R"([{"summary":"S.","tags":[]}])") << "";
        QTest::newRow("server error") << reply(500) << "";
        QTest::newRow("broken envelope") << reply(200, "{\"message\":") << "";
    }

    void replies()
    {
        QFETCH(Response, response);
        QFETCH(QString, summary);
        FakeModelServer server;
        server.route("/api/chat", response);
        const SummaryResult result = Summarizer().summarize("Titel", "");
        QCOMPARE(result.byAI, !summary.isEmpty());
        QCOMPARE(result.summary, summary.isEmpty() ? "Titel" : summary);
        QVERIFY(!AIEngine::gate().isBusy());
        QCOMPARE(server.requestCount("/v1/chat/completions"), 0);
    }

    void slowReplyFallsBack()
    {
        FakeModelServer server;
        server.route("/api/chat", chat(R"({"summary":"Zu spät.","tags":[]})", 3000));
        const QString text = QStringLiteral("Heute scheint über ganz Zürich die Sonne bis zum Abend.");
        QCOMPARE(Summarizer(200ms).summarize("Wetter", text), (SummaryResult{text, {"Wetter", "Abend"}, false}));
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
            while (gate.waitingCount() != i + 1)
                std::this_thread::sleep_for(1ms);
        }
        gate.release();
        callers.clear();
        QVERIFY(answered == 3 && server.maxInFlight() == 1);
        QStringList order;
        for (const QJsonObject &body : server.bodies())
            order << FakeModelServer::userMessage(body).left(1);
        QCOMPARE(order, (QStringList{"0", "1", "2"}));
        QVERIFY_THROWS_EXCEPTION(std::runtime_error, gate.run([]() -> int { throw std::runtime_error("x"); }));
        QVERIFY(!gate.isBusy());
    }

    void embeddings()
    {
        auto server = std::make_unique<FakeModelServer>();
        // As long as the text, so another length is another dimension.
        server->embedWith([](const QString &text) { return QList<double>(text.size(), 1.0); });
        qunsetenv("PELLMORA_EMBED_MODEL");
        QVERIFY(!ServerEmbeddingSource::create());
        qputenv("PELLMORA_EMBED_MODEL", "nomic");
        std::unique_ptr<ServerEmbeddingSource> source = ServerEmbeddingSource::create();
        QVERIFY(source);
        QCOMPARE(source->identity(), "server:nomic-5"); // the probe text's length
        QCOMPARE(source->vector("Hallo"), std::optional<Vector>(Vector(5, 1.0f)));
        QCOMPARE(source->vector("Hallo Welt"), std::nullopt);
        QCOMPARE(server->bodies("/api/embed").last()["model"].toString(), "nomic");
        server.reset();
        QCOMPARE(source->vector("Hallo"), std::nullopt);
    }

    void topicCount_data()
    {
        QTest::addColumn<qsizetype>("n");
        QTest::addColumn<qsizetype>("k");
        QTest::newRow("1 clamps up") << qsizetype(1) << qsizetype(2);
        QTest::newRow("264") << qsizetype(264) << qsizetype(11);
        QTest::newRow("265") << qsizetype(265) << qsizetype(12);
        QTest::newRow("10000 clamps down") << qsizetype(10000) << qsizetype(12);
    }

    void topicCount()
    {
        QFETCH(qsizetype, n);
        QFETCH(qsizetype, k);
        QCOMPARE(TopicClusterer::kFor(n), k);
    }

    void clusters_data()
    {
        QTest::addColumn<QList<Vector>>("vectors");
        QTest::addColumn<QList<Numbers>>("topics");
        QTest::addColumn<Numbers>("unsorted");
        const Vector a{1, 0, 0};
        const Vector b{1, 1, 0};
        const auto angle = [](double d) { return Vector{float(std::cos(d * M_PI / 180)), float(std::sin(d * M_PI / 180))}; };
        QTest::newRow("one tab is unsorted") << QList<Vector>{{1, 0}} << QList<Numbers>{} << Numbers{1};
        // The members' sum is zero: no member fits it.
        QTest::newRow("zero centroid drops the group") << QList<Vector>{{1, 0}, {0, 1}, {-1, -1}} << QList<Numbers>{} << Numbers{1, 2, 3};
        // After {1,2} the average to 3 is 0.704, below 3–4 at 0.707; single
        // linkage would take 3 to {1,2} at 0.766.
        QTest::newRow("average linkage") << QList<Vector>{angle(0), angle(10), angle(50), angle(95)} << QList<Numbers>{{1, 2}, {3, 4}}
                                         << Numbers{};
        // k0 = 2 joins both triples and leaves the stray tab alone; a re-run
        // with k = 3 keeps them apart.
        QTest::newRow("re-run splits an over-merged group") << QList<Vector>{a, a, a, b, b, b, {0.2f, 0, 1}}
                                                            << QList<Numbers>{{1, 2, 3}, {4, 5, 6}} << Numbers{7};
        // Each re-run peels one more tab off the chain; after the sixth all
        // are single groups, unsorted in group order.
        QTest::newRow("six re-runs at most") << QList<Vector>{a, a, a, a, a, a, a, {0.3f, 0, 1}} << QList<Numbers>{}
                                             << Numbers{1, 2, 3, 4, 5, 6, 7, 8};
    }

    void clusters()
    {
        QFETCH(QList<Vector>, vectors);
        QFETCH(QList<Numbers>, topics);
        QFETCH(Numbers, unsorted);
        LibraryData data = library(vectors);
        data.topics = LibraryBuilder().tab("Alt").topic("Alt", {1}).build().topics; // replaced
        clusterer().cluster(data, false);
        QCOMPARE(data.topics.size(), topics.size() + (unsorted.isEmpty() ? 0 : 1));
        for (qsizetype i = 0; i < topics.size(); ++i) {
            QCOMPARE(data.topics[i].tabIds, ids(topics[i]));
            QVERIFY(!data.topics[i].isUnsorted);
            QCOMPARE(data.topics[i].color, TopicPalette::names().at(i));
        }
        if (!unsorted.isEmpty())
            QVERIFY(data.topics.last().isUnsorted && data.topics.last().tabIds == ids(unsorted));
        for (const Topic &topic : std::as_const(data.topics)) {
            for (const SavedTab &tab : std::as_const(data.tabs))
                QCOMPARE(tab.topicId == topic.id, topic.tabIds.contains(tab.id));
        }
    }

    void kMeansAbove400Tabs()
    {
        // Twenty separate subjects: twelve groups seeded with subjects 1 to
        // 12; the others are at 0 to every seed and stay with the first.
        QList<Vector> vectors(401, Vector(20, 0.0f));
        for (int i = 0; i < 401; ++i)
            vectors[i][i % 20] = 1.0f;
        LibraryData data = library(vectors);
        clusterer().cluster(data, false);
        QCOMPARE(data.topics.size(), 12);
        QCOMPARE(data.topics.first().tabIds.size(), 21 + 8 * 20);
        QCOMPARE(data.topics.last().tabIds.size(), 20);
    }

    void topicName_data()
    {
        QTest::addColumn<Naming>("row");
        const QString keywords = QStringLiteral("Rezept & Suppe");
        const QString flags = QStringLiteral("🇨🇭").repeated(40);
        QTest::newRow("guillemets") << Naming{"«Fotografie»", "Fotografie"};
        QTest::newRow("quotes around a full stop") << Naming{" \"Kochen.\"\n", "Kochen"};
        QTest::newRow("40 flags are 40 characters") << Naming{flags, flags};
        QTest::newRow("41 characters") << Naming{QString(41, u'a'), keywords};
        QTest::newRow("late") << Naming{"Zu spät", keywords, 3000};
        QTest::newRow("no model") << Naming{QJsonValue::Undefined, keywords};
        QTest::newRow("model not allowed") << Naming{"Kochen", keywords, 0, false};
    }

    void topicName()
    {
        QFETCH(Naming, row);
        FakeModelServer server;
        server.answerChat({{"name", row.answer}}, row.delayMs);
        if (row.answer.isUndefined())
            qputenv("PELLMORA_MODEL", "");
        LibraryData data = library({{1, 0}, {1, 0}}, {"Rezept", "Suppe"});
        clusterer(row.delayMs ? 200ms : 20s).cluster(data, row.useAI);
        QCOMPARE(data.topics.value(0).name, row.name);
        // Named by the model whenever it was asked, even when its answer was not used.
        const bool asked = row.useAI && !row.answer.isUndefined();
        QCOMPARE(data.topicsByAI, asked);
        QCOMPARE(server.requestCount("/api/chat"), asked ? 1 : 0);
    }

    void chatReply_data()
    {
        QTest::addColumn<QJsonObject>("record");
        QTest::addColumn<QStringList>("cards"); // empty: the record does not fit the schema
        QTest::newRow("repeated and unknown numbers dropped") << picks({{3, "Weil."}, {3, "Nochmal."}, {9, "Fehlt."}})
                                                              << QStringList{"Tab 3: Weil."};
        QTest::newRow("four picks keep three") << picks({{1, "A"}, {2, "B"}, {3, "C"}, {4, "D"}})
                                               << QStringList{"Tab 1: A", "Tab 2: B", "Tab 3: C"};
        QTest::newRow("no valid pick: first three with summaries") << picks({{0, "Null"}, {-1, "Minus"}})
                                                                   << QStringList{"Tab 1: ", "Tab 2: Inhalt 2.", "Tab 3: Inhalt 3."};
        QTest::newRow("fractional number") << picks({{1.5, "A"}}) << QStringList{};
        QTest::newRow("no intro") << picks({}, QJsonValue::Null) << QStringList{};
    }

    void chatReply()
    {
        QFETCH(QJsonObject, record);
        QFETCH(QStringList, cards);
        const std::optional<ChatReply> reply = Chat::replyFrom(record);
        QCOMPARE(reply.has_value(), !cards.isEmpty());
        // Eight hits; tab n has the summary "Inhalt n.", except tab 1.
        LibraryBuilder hits;
        for (int i = 1; i <= 8; ++i)
            hits.tab(QStringLiteral("Tab %1").arg(i)).summary(i == 1 ? QString() : QStringLiteral("Inhalt %1.").arg(i));
        if (reply) {
            const ChatAnswer answer = Chat::fromReply(*reply, hits.build().tabs);
            QCOMPARE(cardsOf(answer), cards);
            QVERIFY(answer.text == "Ja." && answer.tabs.size() == cards.size() && answer.byAI);
        } else {
            // Without the model the best three stand with their summaries, or the title.
            QCOMPARE(cardsOf(Chat::fallbackAnswer(hits.build().tabs)), (QStringList{"Tab 1: Tab 1", "Tab 2: Inhalt 2.", "Tab 3: Inhalt 3."}));
        }
    }

    void chatWithModel()
    {
        FakeModelServer server;
        QVERIFY(Chat(m_embedder).answer("Kamera", wordsOnly({"Suppenrezept"})).cards.isEmpty());
        QCOMPARE(server.requestCount("/api/chat"), 0); // nothing found: not asked
        server.answerChat(picks({{2, "Das Objektiv."}, {2, "Doppelt."}}, "Zwei Tabs passen."));
        // Both match the one word alike: the newer is hit 1.
        LibraryData data = wordsOnly({"Objektiv für die Kamera", "Kamera kaufen"});
        data.tabs[0].note = "Geschenk";
        data.tabs[1].savedAt = data.tabs[1].savedAt.addDays(1);
        const ChatAnswer answer = Chat(m_embedder).answer("Kamera", data);
        QVERIFY(answer.text == "Zwei Tabs passen." && answer.byAI);
        QCOMPARE(cardsOf(answer), QStringList{"Objektiv für die Kamera: Das Objektiv."});
        // The numbers the model picks by are those it was shown.
        const QString sent = FakeModelServer::userMessage(server.bodies().value(0));
        QVERIFY(sent.contains("1. Kamera kaufen") && sent.contains("2. Objektiv für die Kamera") && sent.contains("Geschenk"));
        // An answer off the schema or too late: the best hits stand without the model.
        for (const Response &late : {chat(QJsonObject{{"antwort", "Ja."}}), chat(picks({{1, "A"}}), 3000)}) {
            server.route("/api/chat", late);
            const ChatAnswer fallback = Chat(m_embedder, 300ms).answer("Kamera", data);
            QVERIFY(fallback.cards.size() == 2 && !fallback.byAI);
        }
        QCOMPARE(server.requestCount("/api/chat"), 3);
    }
};

// Runs with PELLMORA_NO_AI set (see CMakeLists.txt): a model that answers
// is never asked.
class TestNoModel : public QObject
{
    Q_OBJECT

private slots:
    void noAiSwitchesTheModelOff()
    {
        QVERIFY(AIStatus::forceOff());
        FakeModelServer server;
        server.answerChat(picks({{1, "A"}}));
        QVERIFY(!AIStatus::isAvailable() && !Summarizer().summarize("Wetter Zürich", "Sonne.").byAI);
        QVERIFY(!Chat(std::make_shared<Embedder>(false)).answer("Kamera", wordsOnly({"Kamera"})).byAI);
        QCOMPARE(server.requests().size(), 0);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestModel)
PELLMORA_TEST_GUILESS_MAIN(TestNoModel)
#include "TestModel.moc"
