#include <QDeadlineTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <future>
#include <memory>
#include <optional>

#include "BrowserHub.h"
#include "NativeFrame.h"
#include "TestRegistry.h"

using namespace std::chrono_literals;

namespace {

QJsonObject hello()
{
    return {{"type", "hello"}, {"protocol", 1}, {"browser", "chromium"}, {"instance", "profile-7"}};
}

QByteArray rawFrame(const QByteArray &body)
{
    return NativeFrame::header(quint32(body.size())) + body;
}

// The host executable as the browser runs it: frames on its standard input,
// frames back on its standard output, Pellmora's socket in a private runtime
// folder.
class HostProcess
{
public:
    explicit HostProcess(const QString &runtimeDir)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("XDG_RUNTIME_DIR", runtimeDir);
        process.setProcessEnvironment(env);
        process.setProcessChannelMode(QProcess::SeparateChannels);
        process.start(QStringLiteral(PELLMORA_BROWSER_HOST), {"chrome-extension://test/"});
    }
    ~HostProcess()
    {
        process.closeWriteChannel();
        if (!process.waitForFinished(3000))
            process.kill();
        process.waitForFinished(1000);
    }

    bool send(const QByteArray &bytes)
    {
        process.write(bytes);
        return process.waitForBytesWritten(3000);
    }

    // Waits for the next message the host passes to the browser.
    std::optional<QJsonObject> next(int waitMs = 5000)
    {
        QDeadlineTimer deadline(waitMs);
        while (queued.isEmpty() && !deadline.hasExpired()) {
            if (process.bytesAvailable() == 0 && !process.waitForReadyRead(int(deadline.remainingTime())))
                break;
            const QByteArray bytes = process.readAllStandardOutput();
            stdoutBytes += bytes;
            queued += reader.feed(bytes);
        }
        if (queued.isEmpty())
            return std::nullopt;
        return queued.takeFirst();
    }

    QProcess process;
    NativeFrame reader{NativeFrame::toBrowserLimit};
    QList<QJsonObject> queued;
    QByteArray stdoutBytes;
};

} // namespace

class TestBrowserHost : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void relaysOncePellmoraAppears();
    void helloInPieces_data();
    void helloInPieces();
    void notAnObjectIsDropped_data();
    void notAnObjectIsDropped();
    void oversizeFromPellmoraReconnects();
    void oversizeFromBrowserEnds();
    void helloReplayedToNewPellmora();
    void endsWhenInputCloses_data();
    void endsWhenInputCloses();

private:
    std::unique_ptr<QTemporaryDir> m_runtime;
    QString socketPath() const { return m_runtime->path() + "/pellmora/browser.sock"; }
};

void TestBrowserHost::init()
{
    m_runtime = std::make_unique<QTemporaryDir>();
    QVERIFY(m_runtime->isValid());
}

void TestBrowserHost::relaysOncePellmoraAppears()
{
    HostProcess host(m_runtime->path());
    QVERIFY(host.process.waitForStarted());
    QVERIFY(host.send(NativeFrame::encode(hello())));
    QTest::qWait(300); // the host has tried and failed to reach Pellmora

    BrowserHub hub(socketPath());
    QVERIFY(hub.start());
    QVERIFY(hub.waitForBrowsers(1, 5s));
    const ConnectedBrowser browser = hub.browsers().first();
    QCOMPARE(browser.browser, "chromium");
    QCOMPARE(browser.instance, "profile-7");
    QCOMPARE(browser.protocol, 1);

    auto answer = std::async(std::launch::async, [&hub, id = browser.id] {
        return hub.request(id, {{"type", "list"}}, 5s);
    });
    const std::optional<QJsonObject> request = host.next();
    QVERIFY(request);
    QCOMPARE(request->value("type").toString(), "list");
    const QJsonObject windows{{"windows", QJsonArray{QJsonObject{{"tabs", QJsonArray{}}}}}};
    QJsonObject reply = windows;
    reply.insert("id", request->value("id"));
    QVERIFY(host.send(NativeFrame::encode(reply)));
    const Result<QJsonObject> got = answer.get();
    QVERIFY2(got, qPrintable(got ? QString() : got.error()));
    QCOMPARE(got->value("windows"), windows.value("windows"));

    // Only whole frames ever reach the browser.
    QCOMPARE(host.reader.pending(), 0);
    QVERIFY(!host.reader.failed());
}

void TestBrowserHost::helloInPieces_data()
{
    QTest::addColumn<int>("piece");
    QTest::newRow("one byte at a time") << 1;
    QTest::newRow("three bytes") << 3;
    QTest::newRow("header then body") << 4;
}

void TestBrowserHost::helloInPieces()
{
    QFETCH(int, piece);
    BrowserHub hub(socketPath());
    QVERIFY(hub.start());
    HostProcess host(m_runtime->path());
    QVERIFY(host.process.waitForStarted());
    const QByteArray frame = NativeFrame::encode(hello());
    for (qsizetype at = 0; at < frame.size(); at += piece) {
        QVERIFY(host.send(frame.mid(at, piece)));
        QTest::qWait(5);
    }
    QVERIFY(hub.waitForBrowsers(1, 5s));
    QCOMPARE(hub.browsers().first().instance, "profile-7");
}

void TestBrowserHost::notAnObjectIsDropped_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("broken") << QByteArray("{\"type\":\"hel");
    QTest::newRow("array") << QByteArray("[1,2]");
    QTest::newRow("empty") << QByteArray();
}

void TestBrowserHost::notAnObjectIsDropped()
{
    QFETCH(QByteArray, body);
    BrowserHub hub(socketPath());
    QVERIFY(hub.start());
    HostProcess host(m_runtime->path());
    QVERIFY(host.process.waitForStarted());
    // Passed on, the bad frame would make the hub drop the connection.
    QVERIFY(host.send(rawFrame(body) + NativeFrame::encode(hello())));
    QVERIFY(hub.waitForBrowsers(1, 5s));
    QVERIFY(!hub.waitForBrowsers(0, 500ms));
    QCOMPARE(host.process.state(), QProcess::Running);
}

void TestBrowserHost::oversizeFromPellmoraReconnects()
{
    BrowserHub hub(socketPath());
    QVERIFY(hub.start());
    HostProcess host(m_runtime->path());
    QVERIFY(host.send(NativeFrame::encode(hello())));
    QVERIFY(hub.waitForBrowsers(1, 5s));

    const QString big(int(NativeFrame::toBrowserLimit), QLatin1Char('x'));
    const Result<QJsonObject> refused =
        hub.request(hub.browsers().first().id, {{"type", "open"}, {"urls", QJsonArray{big}}}, 5s);
    QVERIFY(!refused);

    // The host comes back with its hello and the next request goes through.
    QVERIFY(hub.waitForBrowsers(1, 5s));
    auto answer = std::async(std::launch::async, [&hub, id = hub.browsers().first().id] {
        return hub.request(id, {{"type", "count"}}, 5s);
    });
    const std::optional<QJsonObject> request = host.next();
    QVERIFY(request);
    QCOMPARE(request->value("type").toString(), "count");
    QVERIFY(host.send(NativeFrame::encode({{"id", request->value("id")}, {"tabs", 4}, {"windows", 2}})));
    const Result<QJsonObject> got = answer.get();
    QVERIFY(got);
    QCOMPARE(got->value("tabs").toInt(), 4);
    QVERIFY(!host.next(200)); // the oversize message never reached the browser
    QCOMPARE(host.reader.pending(), 0);
}

void TestBrowserHost::oversizeFromBrowserEnds()
{
    HostProcess host(m_runtime->path());
    QVERIFY(host.send(NativeFrame::header(quint32(NativeFrame::fromBrowserLimit + 1)) + "{}"));
    QVERIFY(host.process.waitForFinished(5000));
    QCOMPARE(host.process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(host.process.exitCode(), 1);
    QVERIFY(host.process.readAllStandardOutput().isEmpty());
}

void TestBrowserHost::helloReplayedToNewPellmora()
{
    HostProcess host(m_runtime->path());
    QVERIFY(host.send(NativeFrame::encode(hello())));
    {
        BrowserHub first(socketPath());
        QVERIFY(first.start());
        QVERIFY(first.waitForBrowsers(1, 5s));
    }
    BrowserHub second(socketPath());
    QVERIFY(second.start());
    QVERIFY(second.waitForBrowsers(1, 5s));
    QCOMPARE(second.browsers().first().browser, "chromium");
}

void TestBrowserHost::endsWhenInputCloses_data()
{
    QTest::addColumn<bool>("pellmora");
    QTest::newRow("Pellmora not running") << false;
    QTest::newRow("Pellmora running") << true;
}

void TestBrowserHost::endsWhenInputCloses()
{
    QFETCH(bool, pellmora);
    BrowserHub hub(socketPath());
    if (pellmora)
        QVERIFY(hub.start());
    HostProcess host(m_runtime->path());
    QVERIFY(host.send(NativeFrame::encode(hello())));
    if (pellmora)
        QVERIFY(hub.waitForBrowsers(1, 5s));
    host.process.closeWriteChannel();
    QVERIFY(host.process.waitForFinished(5000));
    QCOMPARE(host.process.exitCode(), 0);
    QVERIFY(host.process.readAllStandardOutput().isEmpty());
    if (pellmora)
        QVERIFY(hub.waitForBrowsers(0, 5s));
}

PELLMORA_TEST_GUILESS_MAIN(TestBrowserHost)
#include "TestBrowserHost.moc"
