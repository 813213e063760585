#include <QDeadlineTimer>
#include <QJsonArray>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <future>
#include <optional>

#include "BrowserHub.h"
#include "NativeFrame.h"
#include "TestRegistry.h"

using namespace std::chrono_literals;

namespace {

const QJsonObject hello{{"type", "hello"}, {"protocol", 1}, {"browser", "chromium"}, {"instance", "chromium-1"}};

QByteArray rawFrame(const QByteArray &body)
{
    return NativeFrame::header(quint32(body.size())) + body;
}

// The host executable as the browser runs it: frames on its standard input
// and output, Pellmora's socket in a private runtime folder.
struct Host
{
    QProcess process;
    NativeFrame reader{NativeFrame::toBrowserLimit};
    QList<QJsonObject> queued;

    explicit Host(const QString &runtimeDir)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("XDG_RUNTIME_DIR", runtimeDir);
        process.setProcessEnvironment(env);
        process.start(QStringLiteral(PELLMORA_BROWSER_HOST), {"chrome-extension://test/"});
        process.waitForStarted();
    }
    ~Host()
    {
        process.closeWriteChannel();
        if (!process.waitForFinished(3000))
            process.kill();
        process.waitForFinished(1000);
    }
    bool send(const QByteArray &bytes) { return process.write(bytes) == bytes.size() && process.waitForBytesWritten(2000); }
    // The next message the host passes to the browser.
    std::optional<QJsonObject> next(int waitMs = 5000)
    {
        for (QDeadlineTimer deadline(waitMs); queued.isEmpty() && !deadline.hasExpired();) {
            if (process.bytesAvailable() == 0 && !process.waitForReadyRead(int(deadline.remainingTime())))
                break;
            queued += reader.feed(process.readAll());
        }
        return queued.isEmpty() ? std::nullopt : std::optional(queued.takeFirst());
    }
    // Answers the request the browser got.
    bool reply(const std::optional<QJsonObject> &request, QJsonObject answer)
    {
        answer.insert("id", request.value_or(QJsonObject()).value("id"));
        return send(NativeFrame::encode(answer));
    }
};

// Sends a request on a worker thread; the test answers it as the browser.
std::future<Result<QJsonObject>> ask(BrowserHub &hub, const QString &type)
{
    return std::async(std::launch::async, [&hub, type] { return hub.request(hub.browsers().value(0).id, {{"type", type}}, 5s); });
}

} // namespace

// Frames as browsers exchange them with native hosts, and the host that
// relays them between a browser and Pellmora.
class TestBrowserHost : public QObject
{
    Q_OBJECT

    QTemporaryDir m_runtime;
    QString socketPath() const { return m_runtime.path() + "/pellmora/browser.sock"; }

private slots:
    void frames_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("piece"); // bytes fed at a time
        QTest::addColumn<QList<QJsonObject>>("messages"); // none: the reader stops
        const QList<QJsonObject> two{{{"title", QString::fromUtf8("Grüezi 🌙")}}, {}};
        const QByteArray bytes = NativeFrame::encode(two[0]) + NativeFrame::encode(two[1]);
        QTest::newRow("two whole frames") << bytes << 1000 << two;
        QTest::newRow("one byte at a time") << bytes << 1 << two;
        QTest::newRow("cut inside header and body") << bytes << 3 << two;
        QTest::newRow("length over the limit") << NativeFrame::header(quint32(NativeFrame::fromBrowserLimit + 1)) + "{}" << 1000
                                               << QList<QJsonObject>{};
        QTest::newRow("not JSON") << rawFrame("{nope") << 1000 << QList<QJsonObject>{};
        QTest::newRow("an array") << rawFrame("[]") << 1000 << QList<QJsonObject>{};
    }

    void frames()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, piece);
        QFETCH(QList<QJsonObject>, messages);
        NativeFrame reader;
        QList<QJsonObject> got;
        for (qsizetype at = 0; at < bytes.size(); at += piece)
            got += reader.feed(bytes.mid(at, piece));
        QCOMPARE(got, messages);
        QCOMPARE(reader.failed(), messages.isEmpty());
        // A reader that stopped stays stopped.
        QCOMPARE(reader.feed(NativeFrame::encode({{"a", 1}})).isEmpty(), messages.isEmpty());
    }

    // The host starts with the browser, before or after Pellmora, says hello
    // to every Pellmora that comes, and ends when the browser closes its input.
    void relaysToEveryPellmora()
    {
        Host host(m_runtime.path());
        QVERIFY(host.send(NativeFrame::encode(hello)));
        QTest::qWait(200); // the host has tried and failed to reach Pellmora
        auto hub = std::make_unique<BrowserHub>(socketPath());
        QVERIFY(hub->start());
        QVERIFY(hub->waitForBrowsers(1, 5s));
        QCOMPARE(hub->browsers().first().instance, "chromium-1");
        // What is no object is dropped: passed on, it would cost the connection.
        QVERIFY(host.send(rawFrame("{\"type\":\"hel") + rawFrame("[1,2]") + rawFrame({})));
        auto answer = ask(*hub, "list");
        const std::optional<QJsonObject> request = host.next();
        QCOMPARE(request.value_or(QJsonObject()).value("type").toString(), "list");
        const QJsonArray windows{QJsonObject{{"tabs", QJsonArray{}}}};
        QVERIFY(host.reply(request, {{"windows", windows}}));
        QCOMPARE(answer.get().value().value("windows").toArray(), windows);

        hub = std::make_unique<BrowserHub>(socketPath());
        QVERIFY(hub->start());
        QVERIFY(hub->waitForBrowsers(1, 5s));
        host.process.closeWriteChannel();
        QVERIFY(host.process.waitForFinished(5000));
        QCOMPARE(host.process.exitCode(), 0);
        QVERIFY(hub->waitForBrowsers(0, 5s));
    }

    void dropsOversizeFromPellmoraAndReconnects()
    {
        BrowserHub hub(socketPath());
        QVERIFY(hub.start());
        Host host(m_runtime.path());
        QVERIFY(host.send(NativeFrame::encode(hello)));
        QVERIFY(hub.waitForBrowsers(1, 5s));
        const QString big(int(NativeFrame::toBrowserLimit), u'x');
        QVERIFY(!hub.request(hub.browsers().first().id, {{"type", "open"}, {"urls", QJsonArray{big}}}, 5s));
        // The host comes back with its hello and the next request goes through.
        QVERIFY(hub.waitForBrowsers(1, 5s));
        auto answer = ask(hub, "count");
        const std::optional<QJsonObject> request = host.next();
        QCOMPARE(request.value_or(QJsonObject()).value("type").toString(), "count");
        QVERIFY(host.reply(request, {{"tabs", 4}}));
        QCOMPARE(answer.get().value().value("tabs").toInt(), 4);
        QVERIFY(!host.next(200)); // the oversize message never reached the browser
        QCOMPARE(host.reader.pending(), 0);
    }

    void endsOnOversizeFromBrowser()
    {
        Host host(m_runtime.path());
        QVERIFY(host.send(NativeFrame::header(quint32(NativeFrame::fromBrowserLimit + 1)) + "{}"));
        QVERIFY(host.process.waitForFinished(5000));
        QCOMPARE(host.process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(host.process.exitCode(), 1);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestBrowserHost)
#include "TestBrowserHost.moc"
