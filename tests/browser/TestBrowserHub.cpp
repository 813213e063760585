#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QLocalSocket>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

#include <future>
#include <list>
#include <optional>
#include <thread>

#include "BrowserHub.h"
#include "NativeFrame.h"
#include "TestRegistry.h"
#include "TestSupport.h"

using namespace std::chrono_literals;

namespace {

QJsonObject hello(const QString &browser = "chromium")
{
    return {{"type", "hello"}, {"protocol", 1}, {"browser", browser}, {"instance", browser + "-1"}};
}

QByteArray rawFrame(const QByteArray &body)
{
    return NativeFrame::header(quint32(body.size())) + body;
}

// Frames over a connection: a host's socket to the hub, or the host
// process's standard input and output as the browser sees them.
template <typename Device>
std::optional<QJsonObject> nextMessage(Device &device, NativeFrame &reader, QList<QJsonObject> &queued, int waitMs)
{
    QDeadlineTimer deadline(waitMs);
    while (queued.isEmpty() && !deadline.hasExpired()) {
        if (device.bytesAvailable() == 0 && !device.waitForReadyRead(int(deadline.remainingTime())))
            break;
        queued += reader.feed(device.readAll());
    }
    return queued.isEmpty() ? std::nullopt : std::optional(queued.takeFirst());
}

// A stand-in for one browser's host, on the test's thread.
struct FakeHost
{
    QLocalSocket socket;
    NativeFrame reader;
    QList<QJsonObject> queued;

    bool connectTo(const QString &path, const QString &browser)
    {
        socket.connectToServer(path);
        return socket.waitForConnected(2000) && socket.write(NativeFrame::encode(hello(browser)))
               && socket.waitForBytesWritten(2000);
    }
    std::optional<QJsonObject> next() { return nextMessage(socket, reader, queued, 3000); }
};

// The host executable as the browser runs it.
struct HostProcess
{
    QProcess process;
    NativeFrame reader{NativeFrame::toBrowserLimit};
    QList<QJsonObject> queued;

    explicit HostProcess(const QString &runtimeDir)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("XDG_RUNTIME_DIR", runtimeDir);
        process.setProcessEnvironment(env);
        process.start(QStringLiteral(PELLMORA_BROWSER_HOST), {"chrome-extension://test/"});
        process.waitForStarted();
    }
    ~HostProcess()
    {
        process.closeWriteChannel();
        if (!process.waitForFinished(3000))
            process.kill();
        process.waitForFinished(1000);
    }
    bool send(const QByteArray &bytes) { return process.write(bytes) == bytes.size() && process.waitForBytesWritten(); }
    // The next message the host passes to the browser.
    std::optional<QJsonObject> next(int waitMs = 5000) { return nextMessage(process, reader, queued, waitMs); }
};

// Sends a request on a worker thread; the test answers it as the browser.
std::future<Result<QJsonObject>> ask(BrowserHub &hub, const QString &type, std::chrono::milliseconds limit = 5s)
{
    return std::async(std::launch::async, [&hub, type, limit] {
        return hub.request(hub.browsers().value(0).id, {{"type", type}}, limit);
    });
}

QByteArray replyTo(const std::optional<QJsonObject> &request, QJsonObject answer)
{
    answer.insert("id", request ? request->value("id") : QJsonValue());
    return NativeFrame::encode(answer);
}

} // namespace

// The hub Pellmora listens with, and the native-messaging host that relays
// between a browser and it.
class TestBrowserHub : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_runtime;
    QString socketPath() const { return m_runtime->path() + "/pellmora/browser.sock"; }

private slots:
    void init()
    {
        m_runtime = std::make_unique<QTemporaryDir>();
        QVERIFY(m_runtime->isValid());
    }

    void frames_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("piece"); // bytes fed at a time; 0: all at once
        QTest::addColumn<qint64>("limit");
        QTest::addColumn<int>("messages");

        const QByteArray two = NativeFrame::encode({{"title", QString::fromUtf8("Grüezi 🌙")}}) + NativeFrame::encode({});
        QTest::newRow("two whole frames") << two << 0 << NativeFrame::fromBrowserLimit << 2;
        QTest::newRow("one byte at a time") << two << 1 << NativeFrame::fromBrowserLimit << 2;
        QTest::newRow("cut inside header and body") << two << 3 << NativeFrame::fromBrowserLimit << 2;
        QTest::newRow("length over the limit") << NativeFrame::header(17) + QByteArray(17, ' ') << 0 << qint64(16) << -1;
        QTest::newRow("not JSON") << rawFrame("{nope") << 0 << NativeFrame::fromBrowserLimit << -1;
        QTest::newRow("an array") << rawFrame("[]") << 0 << NativeFrame::fromBrowserLimit << -1;
    }

    void frames()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, piece);
        QFETCH(qint64, limit);
        QFETCH(int, messages);
        NativeFrame reader(limit);
        QList<QJsonObject> got;
        for (qsizetype at = 0; at < bytes.size(); at += piece ? piece : bytes.size())
            got += reader.feed(bytes.mid(at, piece ? piece : bytes.size()));
        QCOMPARE(reader.failed(), messages < 0);
        QCOMPARE(got.size(), std::max(messages, 0));
        if (messages > 0) {
            QCOMPARE(got.at(0).value("title").toString(), QString::fromUtf8("Grüezi 🌙"));
            QCOMPARE(reader.pending(), 0);
        }
        // A failed reader stays stopped.
        QCOMPARE(reader.feed(NativeFrame::encode({{"a", 1}})).size(), messages < 0 ? 0 : 1);
    }

    void privateFolderAndLeftoverSocket()
    {
        const QString folder = m_runtime->path() + "/pellmora";
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadOther
                                                  | QFile::ExeOther));
        QVERIFY(TestSupport::writeFile(socketPath(), {}));
        QVERIFY(!BrowserHub::inUse(socketPath()));
        BrowserHub hub(socketPath());
        QVERIFY(hub.start());
        struct stat info{};
        QCOMPARE(::stat(QFile::encodeName(folder).constData(), &info), 0);
        QCOMPARE(int(info.st_mode & 0777), 0700);
        FakeHost host;
        QVERIFY(host.connectTo(socketPath(), "chromium"));
        QVERIFY(hub.waitForBrowsers(1, 3s));
    }

    void browsersInConnectionOrder()
    {
        BrowserHub hub(socketPath());
        QVERIFY(hub.start());
        FakeHost first, second;
        QVERIFY(first.connectTo(socketPath(), "chromium"));
        QVERIFY(hub.waitForBrowsers(1, 3s));
        QVERIFY(second.connectTo(socketPath(), "firefox"));
        QVERIFY(hub.waitForBrowsers(2, 3s));
        QCOMPARE(hub.browsers().at(0).browser, "chromium");
        QCOMPARE(hub.browsers().at(1).browser, "firefox");
        QCOMPARE(hub.browsers().at(1).instance, "firefox-1");
        QVERIFY(hub.browsers().at(0).id < hub.browsers().at(1).id);
        first.socket.disconnectFromServer();
        QVERIFY(hub.waitForBrowsers(1, 3s));
        QCOMPARE(hub.browsers().at(0).browser, "firefox");
    }

    void requests_data()
    {
        QTest::addColumn<QString>("host"); // what the host does with the request
        QTest::addColumn<int>("limitMs");
        QTest::addColumn<bool>("ok");
        QTest::newRow("answers") << "answer" << 5000 << true;
        QTest::newRow("refuses") << "refuse" << 5000 << false;
        // Fails on the disconnect, long before the limit.
        QTest::newRow("hangs up") << "hang up" << 60000 << false;
        QTest::newRow("stays silent") << "silent" << 200 << false;
    }

    void requests()
    {
        QFETCH(QString, host);
        QFETCH(int, limitMs);
        QFETCH(bool, ok);
        BrowserHub hub(socketPath());
        QVERIFY(hub.start());
        FakeHost browser;
        QVERIFY(browser.connectTo(socketPath(), "chromium"));
        QVERIFY(hub.waitForBrowsers(1, 3s));
        auto result = ask(hub, "count", std::chrono::milliseconds(limitMs));
        const std::optional<QJsonObject> request = browser.next();
        QCOMPARE(request.value_or(QJsonObject()).value("type").toString(), "count");
        if (host == "answer" || host == "refuse") {
            browser.socket.write(replyTo(request, host == "answer" ? QJsonObject{{"tabs", 3}}
                                                                   : QJsonObject{{"error", "Tab 7 gibt es nicht"}}));
            QVERIFY(browser.socket.waitForBytesWritten(2000));
        }
        if (host == "hang up")
            browser.socket.abort();
        QCOMPARE(result.wait_for(10s), std::future_status::ready);
        const Result<QJsonObject> got = result.get();
        QCOMPARE(got.ok(), ok);
        if (host == "answer")
            QCOMPARE(got->value("tabs").toInt(), 3);
        if (host == "refuse")
            QCOMPARE(got.error(), "Tab 7 gibt es nicht");
        QCOMPARE(hub.browsers().size(), host == "hang up" ? 0 : 1);
        QVERIFY(!hub.request(9999, {{"type", "list"}}, 100ms).ok());
    }

    void secondHubLeavesTheFirstAlone()
    {
        BrowserHub first(socketPath());
        QVERIFY(first.start());
        QVERIFY(BrowserHub::inUse(socketPath()));
        BrowserHub second(socketPath());
        QVERIFY(!second.start());
        // The first hub still owns the socket: new hosts reach it.
        FakeHost late;
        QVERIFY(late.connectTo(socketPath(), "firefox"));
        QVERIFY(first.waitForBrowsers(1, 3s));
        QVERIFY(second.browsers().isEmpty());
    }

    void waitForSettled_data()
    {
        QTest::addColumn<QList<int>>("pauses"); // ms before each host connects
        QTest::addColumn<int>("settled");
        QTest::newRow("nobody") << QList<int>{} << 0;
        QTest::newRow("one") << QList<int>{0} << 1;
        // Each arrival starts the quiet wait afresh.
        QTest::newRow("three in a row") << QList<int>{0, 250, 250} << 3;
        QTest::newRow("second long after") << QList<int>{0, 1000} << 1;
    }

    void waitForSettled()
    {
        QFETCH(QList<int>, pauses);
        BrowserHub hub(socketPath());
        QVERIFY(hub.start());
        std::promise<void> done;
        // Hosts connect from a thread of their own while this one waits.
        auto hosts = std::async(std::launch::async, [&, finished = done.get_future()] {
            std::list<FakeHost> connected;
            for (int pause : pauses) {
                std::this_thread::sleep_for(std::chrono::milliseconds(pause));
                connected.emplace_back().connectTo(socketPath(), "chromium");
            }
            finished.wait();
        });
        QTEST(hub.waitForSettled(600ms, 400ms), "settled");
        done.set_value();
        hosts.get();
    }

    void hostRelaysOncePellmoraAppears()
    {
        HostProcess host(m_runtime->path());
        QVERIFY(host.send(NativeFrame::encode(hello())));
        QTest::qWait(200); // the host has tried and failed to reach Pellmora
        BrowserHub hub(socketPath());
        QVERIFY(hub.start());
        QVERIFY(hub.waitForBrowsers(1, 5s));
        QCOMPARE(hub.browsers().first().instance, "chromium-1");
        QCOMPARE(hub.browsers().first().protocol, 1);

        auto answer = ask(hub, "list");
        const std::optional<QJsonObject> request = host.next();
        QCOMPARE(request.value_or(QJsonObject()).value("type").toString(), "list");
        const QJsonArray windows{QJsonObject{{"tabs", QJsonArray{}}}};
        QVERIFY(host.send(replyTo(request, {{"windows", windows}})));
        QCOMPARE(answer.get().value().value("windows").toArray(), windows);
    }

    void hostPassesOnlyWholeObjects_data()
    {
        QTest::addColumn<QByteArray>("before"); // what the browser sends ahead of its hello
        QTest::addColumn<int>("piece");
        QTest::newRow("hello one byte at a time") << QByteArray() << 1;
        QTest::newRow("hello header, then body") << QByteArray() << 4;
        // Passed on, these would make the hub drop the connection.
        QTest::newRow("a broken frame") << rawFrame("{\"type\":\"hel") << 0;
        QTest::newRow("an array") << rawFrame("[1,2]") << 0;
        QTest::newRow("an empty frame") << rawFrame({}) << 0;
    }

    void hostPassesOnlyWholeObjects()
    {
        QFETCH(QByteArray, before);
        QFETCH(int, piece);
        BrowserHub hub(socketPath());
        QVERIFY(hub.start());
        HostProcess host(m_runtime->path());
        const QByteArray bytes = before + NativeFrame::encode(hello());
        for (qsizetype at = 0; at < bytes.size(); at += piece ? piece : bytes.size()) {
            QVERIFY(host.send(bytes.mid(at, piece ? piece : bytes.size())));
            QTest::qWait(piece ? 5 : 0);
        }
        QVERIFY(hub.waitForBrowsers(1, 5s));
        QVERIFY(!hub.waitForBrowsers(0, 300ms));
        QCOMPARE(host.process.state(), QProcess::Running);
    }

    void hostDropsOversizeFromPellmoraAndReconnects()
    {
        BrowserHub hub(socketPath());
        QVERIFY(hub.start());
        HostProcess host(m_runtime->path());
        QVERIFY(host.send(NativeFrame::encode(hello())));
        QVERIFY(hub.waitForBrowsers(1, 5s));
        const QString big(int(NativeFrame::toBrowserLimit), u'x');
        QVERIFY(!hub.request(hub.browsers().first().id, {{"type", "open"}, {"urls", QJsonArray{big}}}, 5s));

        // The host comes back with its hello and the next request goes through.
        QVERIFY(hub.waitForBrowsers(1, 5s));
        auto answer = ask(hub, "count");
        const std::optional<QJsonObject> request = host.next();
        QCOMPARE(request.value_or(QJsonObject()).value("type").toString(), "count");
        QVERIFY(host.send(replyTo(request, {{"tabs", 4}})));
        QCOMPARE(answer.get().value().value("tabs").toInt(), 4);
        QVERIFY(!host.next(200)); // the oversize message never reached the browser
        QCOMPARE(host.reader.pending(), 0);
    }

    void hostEndsOnOversizeFromBrowser()
    {
        HostProcess host(m_runtime->path());
        QVERIFY(host.send(NativeFrame::header(quint32(NativeFrame::fromBrowserLimit + 1)) + "{}"));
        QVERIFY(host.process.waitForFinished(5000));
        QCOMPARE(host.process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(host.process.exitCode(), 1);
    }

    void hostSaysHelloToEveryNewPellmora()
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
    }

    void hostEndsWhenInputCloses_data()
    {
        QTest::addColumn<bool>("pellmora");
        QTest::newRow("Pellmora not running") << false;
        QTest::newRow("Pellmora running") << true;
    }

    void hostEndsWhenInputCloses()
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
};

PELLMORA_TEST_GUILESS_MAIN(TestBrowserHub)
#include "TestBrowserHub.moc"
