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

// Tab n has the summary "Inhalt n.", except tab 1, which has none.
QList<SavedTab> hits(int count)
{
    LibraryBuilder builder;
    for (int i = 1; i <= count; ++i)
        builder.tab(QStringLiteral("Tab %1").arg(i)).summary(i == 1 ? QString() : QStringLiteral("Inhalt %1.").arg(i));
    return builder.build().tabs;
}

QJsonObject record(const QJsonValue &intro, const QList<std::pair<double, QString>> &picks)
{
    QJsonArray array;
    for (const auto &[number, reason] : picks)
        array.append(QJsonObject{{"number", number}, {"reason", reason}});
    QJsonObject out{{"picks", array}};
    if (!intro.isUndefined())
        out.insert("intro", intro);
    return out;
}

QStringList titlesOf(const ChatAnswer &answer)
{
    QStringList titles;
    for (const ChatCard &card : answer.cards)
        titles.append(card.tab.title);
    return titles;
}

QStringList reasonsOf(const ChatAnswer &answer)
{
    QStringList reasons;
    for (const ChatCard &card : answer.cards)
        reasons.append(card.reason);
    return reasons;
}

// Zero vectors leave the ranking to the words alone.
LibraryData library(LibraryBuilder builder, int tabs)
{
    const Embedder embedder(false);
    LibraryData data = builder.embedderKind(embedder.kind());
    for (int n = 1; n <= tabs; ++n)
        data.embeddings.insert(idText(LibraryBuilder::tabId(n)), Vector(embedder.dimension(), 0.0f));
    return data;
}

LibraryData oneCamera()
{
    return library(LibraryBuilder().tab("Kamera").summary("Kameras."), 1);
}

} // namespace

class TestChat : public QObject
{
    Q_OBJECT

private slots:
    void init() { ModelClient::forgetApis(); }

    void reply_data()
    {
        QTest::addColumn<QJsonObject>("record");
        QTest::addColumn<int>("hitCount");
        QTest::addColumn<QStringList>("titles"); // empty: the record does not fit the schema
        QTest::addColumn<QStringList>("reasons");
        QTest::newRow("repeated and unknown numbers dropped")
            << record("Ja.", {{3, "Weil."}, {3, "Nochmal."}, {9, "Fehlt."}}) << 8 << QStringList{"Tab 3"}
            << QStringList{"Weil."};
        QTest::newRow("model order, reasons untrimmed") << record("Ja.", {{2, " Zwei "}, {1, "Eins"}}) << 8
                                                        << QStringList{"Tab 2", "Tab 1"} << QStringList{" Zwei ", "Eins"};
        QTest::newRow("four picks keep three") << record("Ja.", {{1, "A"}, {2, "B"}, {3, "C"}, {4, "D"}}) << 8
                                               << QStringList{"Tab 1", "Tab 2", "Tab 3"} << QStringList{"A", "B", "C"};
        QTest::newRow("last of the hits") << record("Ja.", {{2, "Zwei"}}) << 2 << QStringList{"Tab 2"}
                                          << QStringList{"Zwei"};
        QTest::newRow("no valid pick: first three with summaries")
            << record("Ja.", {{0, "Null"}, {-1, "Minus"}, {9, "Neun"}}) << 8 << QStringList{"Tab 1", "Tab 2", "Tab 3"}
            << QStringList{"", "Inhalt 2.", "Inhalt 3."};
        QTest::newRow("fractional number") << record("Ja.", {{1.5, "A"}}) << 8 << QStringList{} << QStringList{};
        QTest::newRow("no intro") << record(QJsonValue::Undefined, {}) << 8 << QStringList{} << QStringList{};
    }

    void reply()
    {
        QFETCH(QJsonObject, record);
        QFETCH(int, hitCount);
        QFETCH(QStringList, titles);
        QFETCH(QStringList, reasons);
        const std::optional<ChatReply> reply = Chat::replyFrom(record);
        QCOMPARE(reply.has_value(), !titles.isEmpty());
        if (!reply)
            return;
        const ChatAnswer answer = Chat::fromReply(*reply, hits(hitCount));
        QCOMPARE(answer.text, "Ja.");
        QCOMPARE(titlesOf(answer), titles);
        QCOMPARE(reasonsOf(answer), reasons);
        QCOMPARE(answer.tabs.size(), titles.size());
        QVERIFY(answer.byAI);
    }

    void fallbackAnswer()
    {
        // The best three stand with their summaries, or the title without one.
        const ChatAnswer answer = Chat::fallbackAnswer(hits(8));
        QCOMPARE(titlesOf(answer), (QStringList{"Tab 1", "Tab 2", "Tab 3"}));
        QCOMPARE(reasonsOf(answer), (QStringList{"Tab 1", "Inhalt 2.", "Inhalt 3."}));
        QVERIFY(!answer.byAI);
    }

    void nothingFound()
    {
        FakeModelServer server;
        const Chat chat(m_embedder);
        for (const LibraryData &data : {library(LibraryBuilder(), 0), library(LibraryBuilder().tab("Suppenrezept"), 1)}) {
            const ChatAnswer answer = chat.answer("Kamera", data);
            QCOMPARE(answer.text, Chat::nothingFoundText());
            QVERIFY(answer.cards.isEmpty() && !answer.byAI);
        }
        QCOMPARE(server.requestCount("/api/chat"), 0);
    }

    void modelAnswer()
    {
        FakeModelServer server;
        server.answerChat(record("Zwei Tabs passen.", {{2, "Das Objektiv."}, {2, "Doppelt."}, {7, "Gibt es nicht."}}));
        // Both match the one word alike: the newer is hit 1.
        const LibraryData data = library(LibraryBuilder()
                                             .tab("Objektiv für die Kamera").note("Geschenk").read()
                                             .tab("Kamera kaufen").savedAt(LibraryBuilder::now().addDays(1)),
                                         2);
        const ChatAnswer answer = Chat(m_embedder).answer("Kamera", data);
        QCOMPARE(answer.text, "Zwei Tabs passen.");
        QCOMPARE(titlesOf(answer), QStringList{"Objektiv für die Kamera"});
        QCOMPARE(reasonsOf(answer), QStringList{"Das Objektiv."});
        QVERIFY(answer.byAI);
        // The numbers the model picks by are those it was shown.
        const QString sent = FakeModelServer::userMessage(server.bodies().value(0));
        QVERIFY(sent.contains("1. Kamera kaufen") && sent.contains("2. Objektiv für die Kamera"));
        QVERIFY(sent.contains("Geschenk"));
    }

    void modelFailureFallsBack_data()
    {
        QTest::addColumn<Response>("response");
        QTest::newRow("server error") << FakeModelServer::ollamaChat(record("Ja.", {}), 500);
        QTest::newRow("not the schema") << FakeModelServer::ollamaChat(QJsonObject{{"antwort", "Ja."}});
        QTest::newRow("too slow") << FakeModelServer::ollamaChat(record("Ja.", {{1, "A"}}), 200, 3000);
    }

    void modelFailureFallsBack()
    {
        QFETCH(Response, response);
        FakeModelServer server;
        server.route("/api/chat", response);
        const ChatAnswer answer = Chat(m_embedder, 300ms).answer("Kamera", oneCamera());
        QCOMPARE(reasonsOf(answer), QStringList{"Kameras."});
        QVERIFY(!answer.byAI);
        QCOMPARE(server.requestCount("/api/chat"), 1);
    }

private:
    std::shared_ptr<Embedder> m_embedder = std::make_shared<Embedder>(false);
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
        server.answerChat(record("Ja.", {{1, "A"}}));
        QVERIFY(!AIStatus::isAvailable());
        QVERIFY(!Chat(std::make_shared<Embedder>(false)).answer("Kamera", oneCamera()).byAI);
        QVERIFY(!Summarizer().summarize("Wetter Zürich", "Sonne.").byAI);
        QCOMPARE(server.requests().size(), 0);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestChat)
PELLMORA_TEST_GUILESS_MAIN(TestNoModel)
#include "TestChat.moc"
