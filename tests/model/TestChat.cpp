#include <QJsonArray>
#include <QJsonObject>
#include <QtTest>

#include <memory>

#include "AIStatus.h"
#include "Chat.h"
#include "Embedder.h"
#include "FakeModelServer.h"
#include "LibraryBuilder.h"
#include "ModelClient.h"
#include "Summarizer.h"
#include "TestRegistry.h"

using namespace std::chrono_literals;
using Response = LocalHttpServer::Response;

namespace {

QJsonObject record(const QList<std::pair<double, QString>> &picks, const QJsonValue &intro = "Ja.")
{
    QJsonObject out{{"intro", intro}, {"picks", QJsonArray{}}};
    for (const auto &[number, reason] : picks)
        out["picks"] = out["picks"].toArray() << QJsonObject{{"number", number}, {"reason", reason}};
    return out;
}

QStringList cardsOf(const ChatAnswer &answer)
{
    QStringList cards;
    for (const ChatCard &card : answer.cards)
        cards.append(card.tab.title + ": " + card.reason);
    return cards;
}

// Zero vectors leave the ranking to the words alone.
LibraryData library(LibraryBuilder builder)
{
    const Embedder embedder(false);
    LibraryData data = builder.embedderKind(embedder.kind());
    for (const SavedTab &tab : std::as_const(data.tabs))
        data.embeddings.insert(idText(tab.id), Vector(embedder.dimension(), 0.0f));
    return data;
}

LibraryData oneCamera()
{
    return library(LibraryBuilder().tab("Kamera").summary("Kameras."));
}

} // namespace

// The chat's answer from the model's picks, and without the model.
class TestChat : public QObject
{
    Q_OBJECT

    // Eight hits; tab n has the summary "Inhalt n.", except tab 1.
    const QList<SavedTab> m_hits = [] {
        LibraryBuilder builder;
        for (int i = 1; i <= 8; ++i)
            builder.tab(QStringLiteral("Tab %1").arg(i)).summary(i == 1 ? QString() : QStringLiteral("Inhalt %1.").arg(i));
        return builder.build().tabs;
    }();
    std::shared_ptr<Embedder> m_embedder = std::make_shared<Embedder>(false);

private slots:
    void init() { ModelClient::forgetApis(); }

    void reply_data()
    {
        QTest::addColumn<QJsonObject>("record");
        QTest::addColumn<QStringList>("cards"); // empty: the record does not fit the schema
        QTest::newRow("repeated and unknown numbers dropped")
            << record({{3, "Weil."}, {3, "Nochmal."}, {9, "Fehlt."}}) << QStringList{"Tab 3: Weil."};
        QTest::newRow("model order, reasons untrimmed") << record({{2, " Zwei "}, {1, "Eins"}})
                                                        << QStringList{"Tab 2:  Zwei ", "Tab 1: Eins"};
        QTest::newRow("four picks keep three") << record({{1, "A"}, {2, "B"}, {3, "C"}, {4, "D"}})
                                               << QStringList{"Tab 1: A", "Tab 2: B", "Tab 3: C"};
        QTest::newRow("last of the hits") << record({{8, "Acht"}}) << QStringList{"Tab 8: Acht"};
        QTest::newRow("no valid pick: first three with summaries") << record({{0, "Null"}, {-1, "Minus"}})
                                                                   << QStringList{"Tab 1: ", "Tab 2: Inhalt 2.", "Tab 3: Inhalt 3."};
        QTest::newRow("fractional number") << record({{1.5, "A"}}) << QStringList{};
        QTest::newRow("no intro") << record({}, QJsonValue::Null) << QStringList{};
    }

    void reply()
    {
        QFETCH(QJsonObject, record);
        QFETCH(QStringList, cards);
        const std::optional<ChatReply> reply = Chat::replyFrom(record);
        QCOMPARE(reply.has_value(), !cards.isEmpty());
        if (!reply)
            return;
        const ChatAnswer answer = Chat::fromReply(*reply, m_hits);
        QCOMPARE(answer.text, "Ja.");
        QCOMPARE(cardsOf(answer), cards);
        QCOMPARE(answer.tabs.size(), cards.size());
        QVERIFY(answer.byAI);
    }

    void fallbackAnswer()
    {
        // The best three stand with their summaries, or the title without one.
        const ChatAnswer answer = Chat::fallbackAnswer(m_hits);
        QCOMPARE(cardsOf(answer), (QStringList{"Tab 1: Tab 1", "Tab 2: Inhalt 2.", "Tab 3: Inhalt 3."}));
        QVERIFY(!answer.byAI);
    }

    void nothingFoundAsksNoModel()
    {
        FakeModelServer server;
        for (const LibraryData &data : {library(LibraryBuilder()), library(LibraryBuilder().tab("Suppenrezept"))}) {
            const ChatAnswer answer = Chat(m_embedder).answer("Kamera", data);
            QVERIFY(answer.cards.isEmpty() && !answer.byAI && !answer.text.isEmpty());
        }
        QCOMPARE(server.requestCount("/api/chat"), 0);
    }

    void modelAnswer()
    {
        FakeModelServer server;
        server.answerChat(record({{2, "Das Objektiv."}, {2, "Doppelt."}}, "Zwei Tabs passen."));
        // Both match the one word alike: the newer is hit 1.
        const LibraryData data = library(LibraryBuilder()
                                             .tab("Objektiv für die Kamera").note("Geschenk").read()
                                             .tab("Kamera kaufen").savedAt(LibraryBuilder::now().addDays(1)));
        const ChatAnswer answer = Chat(m_embedder).answer("Kamera", data);
        QCOMPARE(answer.text, "Zwei Tabs passen.");
        QCOMPARE(cardsOf(answer), QStringList{"Objektiv für die Kamera: Das Objektiv."});
        QVERIFY(answer.byAI);
        // The numbers the model picks by are those it was shown.
        const QString sent = FakeModelServer::userMessage(server.bodies().value(0));
        QVERIFY(sent.contains("1. Kamera kaufen") && sent.contains("2. Objektiv für die Kamera"));
        QVERIFY(sent.contains("Geschenk"));
    }

    void modelFailureFallsBack_data()
    {
        QTest::addColumn<Response>("response");
        QTest::newRow("server error") << FakeModelServer::ollamaChat(record({}), 500);
        QTest::newRow("not the schema") << FakeModelServer::ollamaChat(QJsonObject{{"antwort", "Ja."}});
        QTest::newRow("too slow") << FakeModelServer::ollamaChat(record({{1, "A"}}), 200, 3000);
    }

    void modelFailureFallsBack()
    {
        QFETCH(Response, response);
        FakeModelServer server;
        server.route("/api/chat", response);
        const ChatAnswer answer = Chat(m_embedder, 300ms).answer("Kamera", oneCamera());
        QCOMPARE(cardsOf(answer), QStringList{"Kamera: Kameras."});
        QVERIFY(!answer.byAI);
        QCOMPARE(server.requestCount("/api/chat"), 1);
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
        server.answerChat(record({{1, "A"}}));
        QVERIFY(!AIStatus::isAvailable());
        QVERIFY(!Chat(std::make_shared<Embedder>(false)).answer("Kamera", oneCamera()).byAI);
        QVERIFY(!Summarizer().summarize("Wetter Zürich", "Sonne.").byAI);
        QCOMPARE(server.requests().size(), 0);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestChat)
PELLMORA_TEST_GUILESS_MAIN(TestNoModel)
#include "TestChat.moc"
