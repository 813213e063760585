#include <QJsonArray>
#include <QJsonObject>
#include <QSettings>
#include <QtTest>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "AIStatus.h"
#include "ModelConfig.h"
#include "ModelSchema.h"
#include "SerialGate.h"
#include "Summarizer.h"
#include "WithTimeout.h"
#include "PlatformWords.h"
#include "TestRegistry.h"

using namespace std::chrono_literals;

namespace {

// Waits (without a time assertion) until the condition holds.
template <typename F>
void waitFor(F condition)
{
    while (!condition())
        std::this_thread::sleep_for(1ms);
}

} // namespace

class TestModelAccess : public QObject
{
    Q_OBJECT

private slots:
    void gateServesInArrivalOrder();
    void gateIsFreeAfterLastRelease();
    void gateRunReleasesOnException();
    void timeoutReturnsValue();
    void timeoutFailuresAreAbsent_data();
    void timeoutFailuresAreAbsent();
    void timeoutStopsWorkerAndDropsLateResult();
    void schemaJson();
    void schemaAccepts_data();
    void schemaAccepts();
    void configFromSettings_data();
    void configFromSettings();
    void loopback_data();
    void loopback();
    void descriptions_data();
    void descriptions();
    void noAiSwitchesTheModelOff();
};

void TestModelAccess::gateServesInArrivalOrder()
{
    SerialGate gate;
    std::mutex orderMutex;
    QStringList order;
    std::atomic<int> stage = 0;

    gate.acquire(); // A holds the gate
    auto caller = [&](const QString &name, int releaseAt) {
        return std::thread([&, name, releaseAt] {
            gate.acquire();
            {
                std::lock_guard lock(orderMutex);
                order << name;
            }
            waitFor([&] { return stage.load() >= releaseAt; });
            gate.release();
        });
    };
    std::thread b = caller(QStringLiteral("B"), 1);
    waitFor([&] { return gate.waitingCount() == 1; });
    std::thread c = caller(QStringLiteral("C"), 0);
    waitFor([&] { return gate.waitingCount() == 2; });
    gate.release(); // A done: B must get it, not C
    waitFor([&] { std::lock_guard lock(orderMutex); return order.size() == 1; });
    std::thread d = caller(QStringLiteral("D"), 0); // arrives while B holds it
    waitFor([&] { return gate.waitingCount() == 2; });
    {
        std::lock_guard lock(orderMutex);
        QCOMPARE(order, QStringList{QStringLiteral("B")});
    }
    stage = 1;
    b.join();
    c.join();
    d.join();
    QCOMPARE(order, (QStringList{QStringLiteral("B"), QStringLiteral("C"), QStringLiteral("D")}));
    QVERIFY(!gate.isBusy());
}

void TestModelAccess::gateIsFreeAfterLastRelease()
{
    SerialGate gate;
    gate.acquire();
    QVERIFY(gate.isBusy());
    gate.release();
    QVERIFY(!gate.isBusy());
    gate.acquire(); // must not block
    QVERIFY(gate.isBusy());
    QCOMPARE(gate.waitingCount(), 0);
    gate.release();
}

void TestModelAccess::gateRunReleasesOnException()
{
    SerialGate gate;
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, gate.run([]() -> int { throw std::runtime_error("x"); }));
    QVERIFY(!gate.isBusy());
    QCOMPARE(gate.run([] { return 7; }), 7);
    QVERIFY(!gate.isBusy());
}

void TestModelAccess::timeoutReturnsValue()
{
    const std::optional<int> value = withTimeout<int>(10s, [](std::stop_token) { return std::optional<int>(42); });
    QCOMPARE(value, std::optional<int>(42));
}

void TestModelAccess::timeoutFailuresAreAbsent_data()
{
    QTest::addColumn<int>("kind");
    QTest::newRow("throws") << 0;
    QTest::newRow("unusable answer") << 1;
}

void TestModelAccess::timeoutFailuresAreAbsent()
{
    QFETCH(int, kind);
    // A limit far beyond the test's own timeout: an absent result must come
    // from the failure itself, not from waiting out the limit.
    const std::optional<int> value = withTimeout<int>(3600s, [kind](std::stop_token) -> std::optional<int> {
        if (kind == 0)
            throw std::runtime_error("refused");
        return std::nullopt;
    });
    QVERIFY(!value);
}

void TestModelAccess::timeoutStopsWorkerAndDropsLateResult()
{
    SerialGate gate;
    std::atomic<bool> sawStop = false;
    std::atomic<bool> workerDone = false;
    std::atomic<bool> letFinish = false;

    const std::optional<int> value = gate.run([&] {
        return withTimeout<int>(50ms, [&](std::stop_token stop) -> std::optional<int> {
            waitFor([&] { return stop.stop_requested(); });
            sawStop = true;
            waitFor([&] { return letFinish.load(); });
            workerDone = true;
            return 99; // too late: must be dropped
        });
    });
    QVERIFY(!value);
    QVERIFY(!gate.isBusy()); // released while the worker still runs
    waitFor([&] { return sawStop.load(); });
    QVERIFY(!workerDone);
    letFinish = true;
    waitFor([&] { return workerDone.load(); });

    // A caller's own stop token ends the wait too.
    std::stop_source caller;
    caller.request_stop();
    QVERIFY(!withTimeout<int>(3600s, [](std::stop_token stop) -> std::optional<int> {
        waitFor([&] { return stop.stop_requested(); });
        return 1;
    }, caller.get_token()));
}

void TestModelAccess::schemaJson()
{
    const QJsonObject json = Summarizer::schema().toJson();
    QCOMPARE(json.value("type").toString(), QStringLiteral("object"));
    QCOMPARE(json.value("required").toArray(), (QJsonArray{"summary", "tags"}));
    const QJsonObject props = json.value("properties").toObject();
    QCOMPARE(props.value("summary").toObject(),
             (QJsonObject{{"type", "string"},
                          {"description",
                           QStringLiteral("Genau ein deutscher Satz, höchstens 160 Zeichen: worum es auf der Seite geht.")}}));
    const QJsonObject tags = props.value("tags").toObject();
    QCOMPARE(tags.value("type").toString(), QStringLiteral("array"));
    QCOMPARE(tags.value("maxItems").toInt(), 3);
    QCOMPARE(tags.value("items").toObject(), (QJsonObject{{"type", "string"}}));

    // Arrays of records carry the element's own properties.
    ModelSchema reply{{{"intro", ModelSchema::Type::string, "Einleitung", -1, {}},
                       {"picks", ModelSchema::Type::objectArray, "Treffer", 3,
                        {{"number", ModelSchema::Type::integer, "Nummer", -1, {}},
                         {"reason", ModelSchema::Type::string, "Grund", -1, {}}}}}};
    const QJsonObject picks = reply.toJson().value("properties").toObject().value("picks").toObject();
    const QJsonObject item = picks.value("items").toObject();
    QCOMPARE(item.value("required").toArray(), (QJsonArray{"number", "reason"}));
    QCOMPARE(item.value("properties").toObject().value("number").toObject().value("type").toString(),
             QStringLiteral("integer"));
}

void TestModelAccess::schemaAccepts_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("good") << QByteArray(R"({"intro":"a","picks":[{"number":2,"reason":"b"}]})") << true;
    QTest::newRow("more picks than the guide") << QByteArray(
        R"({"intro":"a","picks":[{"number":1,"reason":""},{"number":2,"reason":""},{"number":3,"reason":""},{"number":4,"reason":""}]})")
                                               << true;
    QTest::newRow("missing property") << QByteArray(R"({"picks":[]})") << false;
    QTest::newRow("string for integer") << QByteArray(R"({"intro":"a","picks":[{"number":"2","reason":"b"}]})")
                                        << false;
    QTest::newRow("fraction for integer") << QByteArray(R"({"intro":"a","picks":[{"number":1.5,"reason":"b"}]})")
                                          << false;
    QTest::newRow("object for array") << QByteArray(R"({"intro":"a","picks":{"number":1,"reason":"b"}})") << false;
    QTest::newRow("element not an object") << QByteArray(R"({"intro":"a","picks":[3]})") << false;
    QTest::newRow("null intro") << QByteArray(R"({"intro":null,"picks":[]})") << false;
}

void TestModelAccess::schemaAccepts()
{
    QFETCH(QByteArray, reply);
    QFETCH(bool, accepted);
    ModelSchema schema{{{"intro", ModelSchema::Type::string, "", -1, {}},
                        {"picks", ModelSchema::Type::objectArray, "", 3,
                         {{"number", ModelSchema::Type::integer, "", -1, {}},
                          {"reason", ModelSchema::Type::string, "", -1, {}}}}}};
    QCOMPARE(schema.accepts(QJsonDocument::fromJson(reply).object()), accepted);
}

void TestModelAccess::configFromSettings_data()
{
    QTest::addColumn<QString>("settingUrl");
    QTest::addColumn<QByteArray>("envUrl");
    QTest::addColumn<QString>("settingModel");
    QTest::addColumn<QByteArray>("envModel");
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("model");
    QTest::newRow("defaults") << "" << QByteArray() << "" << QByteArray() << "http://127.0.0.1:11434" << "";
    QTest::newRow("settings") << "http://localhost:8080" << QByteArray() << "gemma" << QByteArray()
                              << "http://localhost:8080" << "gemma";
    QTest::newRow("environment wins") << "http://localhost:8080" << QByteArray("http://127.0.0.1:9000") << "gemma"
                                      << QByteArray("qwen") << "http://127.0.0.1:9000" << "qwen";
    QTest::newRow("empty environment switches off") << "" << QByteArray() << "gemma" << QByteArray("")
                                                    << "http://127.0.0.1:11434" << "";
}

void TestModelAccess::configFromSettings()
{
    QFETCH(QString, settingUrl);
    QFETCH(QByteArray, envUrl);
    QFETCH(QString, settingModel);
    QFETCH(QByteArray, envModel);
    QFETCH(QString, url);
    QFETCH(QString, model);
    {
        QSettings settings(QStringLiteral("Pellmora"), QStringLiteral("Pellmora"));
        settings.clear();
        if (!settingUrl.isEmpty())
            settings.setValue("modelServerURL", settingUrl);
        if (!settingModel.isEmpty())
            settings.setValue("modelName", settingModel);
    }
    const bool setUrl = !envUrl.isNull();
    const bool setModel = !envModel.isNull();
    if (setUrl)
        qputenv("PELLMORA_MODEL_URL", envUrl);
    if (setModel)
        qputenv("PELLMORA_MODEL", envModel);
    const ModelConfig config = ModelConfig::current();
    qunsetenv("PELLMORA_MODEL_URL");
    qunsetenv("PELLMORA_MODEL");
    QSettings(QStringLiteral("Pellmora"), QStringLiteral("Pellmora")).clear();
    QCOMPARE(config.serverUrl, QUrl(url));
    QCOMPARE(config.modelName, model);
}

void TestModelAccess::loopback_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<bool>("loopback");
    QTest::newRow("default") << "http://127.0.0.1:11434" << true;
    QTest::newRow("other 127 address") << "http://127.8.9.1:8080/" << true;
    QTest::newRow("localhost") << "http://LocalHost:8080" << true;
    QTest::newRow("ipv6 loopback") << "http://[::1]:8080" << true;
    QTest::newRow("lan address") << "http://192.168.1.20:11434" << false;
    QTest::newRow("remote name") << "https://models.example.com" << false;
    QTest::newRow("localhost lookalike") << "http://localhost.example.com" << false;
    QTest::newRow("not http") << "ftp://127.0.0.1" << false;
    QTest::newRow("empty") << "" << false;
}

void TestModelAccess::loopback()
{
    QFETCH(QString, url);
    QFETCH(bool, loopback);
    QCOMPARE(ModelConfig::isLoopback(QUrl(url)), loopback);
}

void TestModelAccess::descriptions_data()
{
    // The texts themselves belong to the word table; here each outcome must
    // pick its own.
    using AIStatus::Availability;
    using PlatformWords::ModelState;
    QTest::addColumn<Availability>("availability");
    QTest::addColumn<ModelState>("state");
    QTest::newRow("available") << Availability::available << ModelState::available;
    QTest::newRow("not eligible") << Availability::deviceNotEligible << ModelState::deviceNotEligible;
    QTest::newRow("not enabled") << Availability::notEnabled << ModelState::notEnabled;
    QTest::newRow("not ready") << Availability::modelNotReady << ModelState::modelNotReady;
    QTest::newRow("other") << Availability::otherReason << ModelState::otherReason;
}

void TestModelAccess::descriptions()
{
    QFETCH(AIStatus::Availability, availability);
    QFETCH(PlatformWords::ModelState, state);
    QCOMPARE(AIStatus::description(availability),
             PlatformWords::modelStatus(state, ModelConfig::current().modelName));
}

void TestModelAccess::noAiSwitchesTheModelOff()
{
    if (!qEnvironmentVariableIsSet("PELLMORA_NO_AI"))
        QSKIP("runs in its own process with PELLMORA_NO_AI set");
    QVERIFY(AIStatus::forceOff());
    QVERIFY(!AIStatus::isAvailable());
    QCOMPARE(AIStatus::description(), PlatformWords::modelStatus(PlatformWords::ModelState::forcedOff, {}));
    const SummaryResult result = Summarizer().summarize(QStringLiteral("Wetter Zürich"), QStringLiteral("Sonne."));
    QVERIFY(!result.byAI);
}

PELLMORA_TEST_GUILESS_MAIN(TestModelAccess)
#include "TestModelAccess.moc"
