#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>
#include <QtTest>

#include <memory>

#include "AIStatus.h"
#include "ModelConfig.h"
#include "Chat.h"
#include "Embedder.h"
#include "LocalHttpServer.h"
#include "ModelClient.h"
#include "PlatformWords.h"
#include "TestRegistry.h"

using namespace std::chrono_literals;

namespace {

// Names the model configured at the moment of the answer.
QString note()
{
    return PlatformWords::chatFallbackNote(ModelConfig::current().modelName);
}

SavedTab tabNamed(const QString &title, const QString &summary = {}, const QString &domain = QStringLiteral("a.ch"))
{
    SavedTab tab;
    tab.id = QUuid::createUuid();
    tab.url = QStringLiteral("https://") + domain + QStringLiteral("/") + QString::number(qHash(title));
    tab.title = title;
    tab.domain = domain;
    tab.summary = summary;
    tab.savedAt = QDateTime(QDate(2026, 11, 16), QTime(20, 31), Qt::UTC);
    return tab;
}

QList<SavedTab> hitsNamed(int count)
{
    QList<SavedTab> hits;
    for (int i = 1; i <= count; ++i)
        hits.append(tabNamed(QStringLiteral("Tab %1").arg(i), QStringLiteral("Inhalt %1.").arg(i)));
    return hits;
}

QStringList reasonsOf(const ChatAnswer &answer)
{
    QStringList reasons;
    for (const ChatCard &card : answer.cards)
        reasons.append(card.reason);
    return reasons;
}

QStringList titlesOf(const QList<SavedTab> &tabs)
{
    QStringList titles;
    for (const SavedTab &tab : tabs)
        titles.append(tab.title);
    return titles;
}

LocalHttpServer::Response ollamaChat(const QJsonObject &record, int status = 200, int delayMs = 0)
{
    const QJsonObject answer{{"model", "gemma"},
                             {"message", QJsonObject{{"role", "assistant"},
                                                     {"content", QString::fromUtf8(QJsonDocument(record).toJson(
                                                                     QJsonDocument::Compact))}}},
                             {"done", true}};
    LocalHttpServer::Response r =
        LocalHttpServer::page(QJsonDocument(answer).toJson(QJsonDocument::Compact), "application/json", delayMs);
    r.status = status;
    return r;
}

QJsonObject pick(int number, const QString &reason)
{
    return {{"number", number}, {"reason", reason}};
}

} // namespace

class TestChat : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void hitLine_data();
    void hitLine();
    void promptText();
    void fallbackAnswer_data();
    void fallbackAnswer();
    void fromReply_data();
    void fromReply();
    void replyFrom_data();
    void replyFrom();

    void nothingFound();
    void retrievalWithoutModel();
    void modelAnswer();
    void modelFailureFallsBack_data();
    void modelFailureFallsBack();
    void noAiSwitchesTheModelOff();

private:
    void startModel();
    LibraryData library(const QList<SavedTab> &tabs) const;

    std::shared_ptr<Embedder> m_embedder;
    std::unique_ptr<LocalHttpServer> m_server;
};

void TestChat::init()
{
    m_embedder = std::make_shared<Embedder>(false);
    ModelClient::forgetApis();
    qunsetenv("PELLMORA_MODEL");
    qunsetenv("PELLMORA_MODEL_URL");
}

void TestChat::cleanup()
{
    m_server.reset();
    qunsetenv("PELLMORA_MODEL");
    qunsetenv("PELLMORA_MODEL_URL");
}

void TestChat::startModel()
{
    m_server = std::make_unique<LocalHttpServer>();
    QVERIFY(m_server->isListening());
    m_server->route("/api/tags", LocalHttpServer::page(R"({"models":[{"name":"gemma"}]})", "application/json"));
    qputenv("PELLMORA_MODEL_URL", m_server->address(QStringLiteral("/")).toUtf8());
    qputenv("PELLMORA_MODEL", "gemma");
}

// Zero vectors leave the ranking to the words alone.
LibraryData TestChat::library(const QList<SavedTab> &tabs) const
{
    LibraryData data;
    data.embedderKind = m_embedder->kind();
    data.tabs = tabs;
    for (const SavedTab &tab : tabs)
        data.embeddings.insert(idText(tab.id), Vector(m_embedder->dimension(), 0.0f));
    return data;
}

void TestChat::hitLine_data()
{
    QTest::addColumn<qsizetype>("number");
    QTest::addColumn<bool>("read");
    QTest::addColumn<QString>("noteText");
    QTest::addColumn<QString>("line");

    QTest::newRow("unread, no note") << qsizetype(1) << false << ""
                                     << "1. Kamera (foto.ch, gespeichert 16.11., nie gelesen): Eine Kamera.";
    QTest::newRow("read") << qsizetype(2) << true << "" << "2. Kamera (foto.ch, gespeichert 16.11.): Eine Kamera.";
    QTest::newRow("read with note") << qsizetype(8) << true << "Für Papa"
                                    << "8. Kamera (foto.ch, gespeichert 16.11.): Eine Kamera. Notiz: Für Papa";
}

void TestChat::hitLine()
{
    QFETCH(qsizetype, number);
    QFETCH(bool, read);
    QFETCH(QString, noteText);
    QFETCH(QString, line);
    SavedTab tab = tabNamed("Kamera", "Eine Kamera.", "foto.ch");
    if (read)
        tab.readAt = tab.savedAt.addDays(1);
    tab.note = noteText;
    QCOMPARE(Chat::hitLine(number, tab), line);
}

void TestChat::promptText()
{
    QList<SavedTab> hits = hitsNamed(9);
    hits[1].summary.clear();
    const QString prompt = Chat::prompt("Welche Tabs?", hits);
    QString expected = "Frage: Welche Tabs?\nTreffer aus den gespeicherten Tabs:\n";
    for (int i = 1; i <= 8; ++i) {
        expected += QStringLiteral("%1. Tab %1 (a.ch, gespeichert 16.11., nie gelesen): ").arg(i);
        expected += (i == 2 ? QString() : QStringLiteral("Inhalt %1.").arg(i)) + "\n";
    }
    expected += "Wähle die bis zu drei passendsten Treffer und sag je in einem Satz, warum.";
    QCOMPARE(prompt, expected);
}

void TestChat::fallbackAnswer_data()
{
    QTest::addColumn<int>("hitCount");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("titles");

    QTest::newRow("one") << 1 << "Ein Tab passt am besten zu deiner Frage. " + note() << QStringList{"Tab 1"};
    QTest::newRow("two") << 2 << "2 Tabs passen am besten zu deiner Frage. " + note() << QStringList{"Tab 1", "Tab 2"};
    QTest::newRow("eight keep three") << 8 << "3 Tabs passen am besten zu deiner Frage. " + note()
                                      << QStringList{"Tab 1", "Tab 2", "Tab 3"};
}

void TestChat::fallbackAnswer()
{
    QFETCH(int, hitCount);
    QFETCH(QString, text);
    QFETCH(QStringList, titles);
    QList<SavedTab> hits = hitsNamed(hitCount);
    hits[0].summary.clear();
    const ChatAnswer answer = Chat::fallbackAnswer(hits);
    QCOMPARE(answer.text, text);
    QCOMPARE(titlesOf(answer.tabs), titles);
    QCOMPARE(answer.cards.size(), titles.size());
    // An empty summary gives way to the title.
    QCOMPARE(answer.cards.first().reason, QStringLiteral("Tab 1"));
    if (answer.cards.size() > 1)
        QCOMPARE(answer.cards.at(1).reason, QStringLiteral("Inhalt 2."));
    QCOMPARE(answer.cards.first().id(), hits.first().id);
    QVERIFY(!answer.byAI);
}

void TestChat::fromReply_data()
{
    QTest::addColumn<int>("hitCount");
    QTest::addColumn<QList<ChatPick>>("picks");
    QTest::addColumn<QStringList>("titles");
    QTest::addColumn<QStringList>("reasons");

    QTest::newRow("3, 3 and 9 of eight") << 8 << QList<ChatPick>{{3, "Weil."}, {3, "Nochmal."}, {9, "Fehlt."}}
                                         << QStringList{"Tab 3"} << QStringList{"Weil."};
    QTest::newRow("model order, reasons untrimmed")
        << 8 << QList<ChatPick>{{2, " Zwei "}, {1, "Eins"}} << QStringList{"Tab 2", "Tab 1"}
        << QStringList{" Zwei ", "Eins"};
    QTest::newRow("0 only: first three with summaries")
        << 8 << QList<ChatPick>{{0, "Null"}} << QStringList{"Tab 1", "Tab 2", "Tab 3"}
        << QStringList{"", "Inhalt 2.", "Inhalt 3."};
    QTest::newRow("number past the hits") << 2 << QList<ChatPick>{{3, "Drei"}, {-1, "Minus"}}
                                          << QStringList{"Tab 1", "Tab 2"} << QStringList{"", "Inhalt 2."};
    QTest::newRow("no picks") << 1 << QList<ChatPick>{} << QStringList{"Tab 1"} << QStringList{""};
    QTest::newRow("last of the hits") << 2 << QList<ChatPick>{{2, "Zwei"}} << QStringList{"Tab 2"}
                                      << QStringList{"Zwei"};
}

void TestChat::fromReply()
{
    QFETCH(int, hitCount);
    QFETCH(QList<ChatPick>, picks);
    QFETCH(QStringList, titles);
    QFETCH(QStringList, reasons);
    QList<SavedTab> hits = hitsNamed(hitCount);
    // No title in place of an empty summary when the picks were all invalid.
    hits[0].summary.clear();
    const ChatAnswer answer = Chat::fromReply(ChatReply{"Hier sind sie.", picks}, hits);
    QCOMPARE(answer.text, QStringLiteral("Hier sind sie."));
    QCOMPARE(titlesOf(answer.tabs), titles);
    QCOMPARE(reasonsOf(answer), reasons);
    QVERIFY(answer.byAI);
}

void TestChat::replyFrom_data()
{
    QTest::addColumn<QJsonObject>("record");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<QList<ChatPick>>("picks");

    QTest::newRow("two picks") << QJsonObject{{"intro", "Ja."}, {"picks", QJsonArray{pick(2, "A"), pick(5, "B")}}}
                               << true << QList<ChatPick>{{2, "A"}, {5, "B"}};
    QTest::newRow("four picks keep three")
        << QJsonObject{{"intro", "Ja."}, {"picks", QJsonArray{pick(1, "A"), pick(2, "B"), pick(3, "C"), pick(4, "D")}}}
        << true << QList<ChatPick>{{1, "A"}, {2, "B"}, {3, "C"}};
    QTest::newRow("fractional number") << QJsonObject{{"intro", "Ja."}, {"picks", QJsonArray{QJsonObject{
                                                                             {"number", 1.5}, {"reason", "A"}}}}}
                                       << false << QList<ChatPick>{};
    QTest::newRow("no intro") << QJsonObject{{"picks", QJsonArray{}}} << false << QList<ChatPick>{};
}

void TestChat::replyFrom()
{
    QFETCH(QJsonObject, record);
    QFETCH(bool, valid);
    QFETCH(QList<ChatPick>, picks);
    const std::optional<ChatReply> reply = Chat::replyFrom(record);
    QCOMPARE(reply.has_value(), valid);
    if (reply) {
        QCOMPARE(reply->intro, QStringLiteral("Ja."));
        QCOMPARE(reply->picks, picks);
    }
}

void TestChat::nothingFound()
{
    startModel();
    const Chat chat(m_embedder);
    const ChatAnswer empty = chat.answer("Kamera", library({}));
    QCOMPARE(empty, (ChatAnswer{"Dazu habe ich in deinen gespeicherten Tabs nichts gefunden.", {}, {}, false}));
    const ChatAnswer none = chat.answer("Kamera", library({tabNamed("Suppenrezept", "Kochen.")}));
    QCOMPARE(none.text, QStringLiteral("Dazu habe ich in deinen gespeicherten Tabs nichts gefunden."));
    QVERIFY(none.cards.isEmpty());
    QCOMPARE(m_server->requestCount("/api/chat"), 0);
}

void TestChat::retrievalWithoutModel()
{
    const SavedTab soup = tabNamed("Suppenrezept", "Kochen.");
    SavedTab camera = tabNamed("Kamera kaufen", "");
    const SavedTab lens = tabNamed("Objektiv für die Kamera", "Objektive im Vergleich.");
    camera.savedAt = lens.savedAt.addDays(1);
    // Both tabs match the one word equally: the newer comes first.
    const ChatAnswer answer = Chat(m_embedder).answer("Kamera", library({soup, lens, camera}));
    QCOMPARE(titlesOf(answer.tabs), (QStringList{"Kamera kaufen", "Objektiv für die Kamera"}));
    QCOMPARE(reasonsOf(answer), (QStringList{"Kamera kaufen", "Objektive im Vergleich."}));
    QCOMPARE(answer.text, "2 Tabs passen am besten zu deiner Frage. " + note());
    QVERIFY(!answer.byAI);
}

void TestChat::modelAnswer()
{
    startModel();
    m_server->route("/api/chat", ollamaChat({{"intro", "Zwei Tabs passen."},
                                             {"picks", QJsonArray{pick(2, "Das Objektiv."), pick(2, "Doppelt."),
                                                                  pick(7, "Gibt es nicht.")}}}));
    SavedTab camera = tabNamed("Kamera kaufen", "Kameras.");
    SavedTab lens = tabNamed("Objektiv für die Kamera", "Objektive.", "foto.ch");
    lens.note = "Geschenk";
    lens.readAt = lens.savedAt;
    camera.savedAt = lens.savedAt.addDays(1);
    const ChatAnswer answer = Chat(m_embedder).answer("Kamera", library({lens, camera}));
    QCOMPARE(answer.text, QStringLiteral("Zwei Tabs passen."));
    QCOMPARE(titlesOf(answer.tabs), QStringList{"Objektiv für die Kamera"});
    QCOMPARE(reasonsOf(answer), QStringList{"Das Objektiv."});
    QVERIFY(answer.byAI);

    QCOMPARE(m_server->requestCount("/api/chat"), 1);
    QString sent;
    for (const LocalHttpServer::Request &request : m_server->requests()) {
        if (request.path == "/api/chat") {
            const QJsonArray messages = QJsonDocument::fromJson(request.body).object().value("messages").toArray();
            sent = messages.last().toObject().value("content").toString();
        }
    }
    const QString prompt = "Frage: Kamera\nTreffer aus den gespeicherten Tabs:\n"
                           "1. Kamera kaufen (a.ch, gespeichert 17.11., nie gelesen): Kameras.\n"
                           "2. Objektiv für die Kamera (foto.ch, gespeichert 16.11.): Objektive. Notiz: Geschenk\n"
                           "Wähle die bis zu drei passendsten Treffer und sag je in einem Satz, warum.";
    QCOMPARE(sent, ModelClient::promptWithSchema(prompt, Chat::schema()));
}

void TestChat::modelFailureFallsBack_data()
{
    QTest::addColumn<LocalHttpServer::Response>("response");
    QTest::newRow("server error") << ollamaChat({{"intro", "Ja."}, {"picks", QJsonArray{}}}, 500);
    QTest::newRow("not the schema") << ollamaChat({{"antwort", "Ja."}});
    QTest::newRow("too slow") << ollamaChat({{"intro", "Ja."}, {"picks", QJsonArray{pick(1, "A")}}}, 200, 3000);
}

void TestChat::modelFailureFallsBack()
{
    QFETCH(LocalHttpServer::Response, response);
    startModel();
    m_server->route("/api/chat", response);
    const ChatAnswer answer = Chat(m_embedder, 300ms).answer("Kamera", library({tabNamed("Kamera", "Kameras.")}));
    QCOMPARE(answer.text, "Ein Tab passt am besten zu deiner Frage. " + note());
    QCOMPARE(reasonsOf(answer), QStringList{"Kameras."});
    QVERIFY(!answer.byAI);
    QCOMPARE(m_server->requestCount("/api/chat"), 1);
}

// Runs with PELLMORA_NO_AI set, in a process of its own (see CMakeLists.txt).
void TestChat::noAiSwitchesTheModelOff()
{
    if (!AIStatus::forceOff())
        QSKIP("needs PELLMORA_NO_AI");
    startModel();
    m_server->route("/api/chat", ollamaChat({{"intro", "Ja."}, {"picks", QJsonArray{pick(1, "A")}}}));
    const ChatAnswer answer = Chat(m_embedder).answer("Kamera", library({tabNamed("Kamera", "Kameras.")}));
    QCOMPARE(answer.text, "Ein Tab passt am besten zu deiner Frage. " + note());
    QVERIFY(!answer.byAI);
    QCOMPARE(m_server->requestCount("/api/chat"), 0);
}

PELLMORA_TEST_GUILESS_MAIN(TestChat)
#include "TestChat.moc"
