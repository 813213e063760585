#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QLocalSocket>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

#include <future>
#include <list>
#include <thread>

#include "BrowserHub.h"
#include "NativeFrame.h"
#include "TestRegistry.h"

using namespace std::chrono_literals;

namespace {

QJsonObject hello(const QString &browser)
{
    return {{"type", "hello"}, {"protocol", 1}, {"browser", browser}, {"instance", browser + "-1"}};
}

// A stand-in for one browser's host: connects, says hello and answers
// requests from a callback, all on the test's thread.
struct FakeHost
{
    QLocalSocket socket;
    NativeFrame reader;

    bool connectTo(const QString &path, const QString &browser)
    {
        socket.connectToServer(path);
        if (!socket.waitForConnected(2000))
            return false;
        socket.write(NativeFrame::encode(hello(browser)));
        return socket.waitForBytesWritten(2000);
    }

    QList<QJsonObject> nextRequests()
    {
        QList<QJsonObject> all;
        while (all.isEmpty() && socket.waitForReadyRead(3000))
            all += reader.feed(socket.readAll());
        return all;
    }
};

} // namespace

class TestBrowserHub : public QObject
{
    Q_OBJECT

private slots:
    void framing_data();
    void framing();
    void oversizeStopsReader();
    void folderIsPrivate();
    void twoBrowsersInConnectionOrder();
    void requestAnswered_data();
    void requestAnswered();
    void disconnectMidRequestFails();
    void silentBrowserTimesOut();
    void secondHubLeavesTheFirstAlone();
    void leftoverSocketFileIsTakenOver();
    void waitForSettled_data();
    void waitForSettled();
};

void TestBrowserHub::framing_data()
{
    QTest::addColumn<QList<int>>("cuts");
    QTest::addColumn<int>("messages");
    QTest::addColumn<bool>("failed");

    // Two frames fed as pieces cut at the given byte positions.
    QTest::newRow("whole") << QList<int>{} << 2 << false;
    QTest::newRow("inside header") << QList<int>{2} << 2 << false;
    QTest::newRow("after header") << QList<int>{4} << 2 << false;
    QTest::newRow("inside body") << QList<int>{9} << 2 << false;
    QTest::newRow("every byte") << QList<int>{-1} << 2 << false;
}

void TestBrowserHub::framing()
{
    QFETCH(QList<int>, cuts);
    QFETCH(int, messages);
    QFETCH(bool, failed);

    const QJsonObject a{{"type", "list"}, {"title", QString::fromUtf8("Grüezi 🌙")}};
    const QJsonObject b{{"n", 2}};
    const QByteArray bytes = NativeFrame::encode(a) + NativeFrame::encode(b);
    QList<QByteArray> pieces;
    if (cuts == QList<int>{-1}) {
        for (char c : bytes)
            pieces.append(QByteArray(1, c));
    } else {
        int at = 0;
        for (int cut : cuts) {
            pieces.append(bytes.mid(at, cut - at));
            at = cut;
        }
        pieces.append(bytes.mid(at));
    }
    NativeFrame reader;
    QList<QJsonObject> got;
    for (const QByteArray &piece : pieces)
        got += reader.feed(piece);
    QCOMPARE(got.size(), messages);
    QCOMPARE(reader.failed(), failed);
    QCOMPARE(got.value(0), a);
    QCOMPARE(got.value(1), b);
    QCOMPARE(reader.pending(), 0);
}

void TestBrowserHub::oversizeStopsReader()
{
    NativeFrame small(16);
    QVERIFY(small.feed(NativeFrame::header(17)).isEmpty());
    QVERIFY(small.failed());
    QVERIFY(small.feed(NativeFrame::encode({{"a", 1}})).isEmpty());

    NativeFrame bad;
    const QByteArray body = "{nope";
    QVERIFY(bad.feed(NativeFrame::header(quint32(body.size())) + body).isEmpty());
    QVERIFY(bad.failed());

    NativeFrame array;
    QVERIFY(array.feed(NativeFrame::header(2) + "[]").isEmpty());
    QVERIFY(array.failed());
}

void TestBrowserHub::folderIsPrivate()
{
    QTemporaryDir dir;
    const QString folder = dir.path() + "/pellmora";
    BrowserHub hub(folder + "/browser.sock");
    QVERIFY(hub.start().ok());
    struct stat info{};
    QCOMPARE(::stat(QFile::encodeName(folder).constData(), &info), 0);
    QCOMPARE(int(info.st_mode & 0777), 0700);
}

void TestBrowserHub::twoBrowsersInConnectionOrder()
{
    QTemporaryDir dir;
    BrowserHub hub(dir.path() + "/pellmora/browser.sock");
    QVERIFY(hub.start().ok());
    FakeHost first, second;
    QVERIFY(first.connectTo(hub.socketPath(), "chromium"));
    QVERIFY(hub.waitForBrowsers(1, 3s));
    QVERIFY(second.connectTo(hub.socketPath(), "firefox"));
    QVERIFY(hub.waitForBrowsers(2, 3s));
    const QList<ConnectedBrowser> browsers = hub.browsers();
    QCOMPARE(browsers.at(0).browser, "chromium");
    QCOMPARE(browsers.at(1).browser, "firefox");
    QVERIFY(browsers.at(0).id < browsers.at(1).id);

    first.socket.disconnectFromServer();
    QVERIFY(hub.waitForBrowsers(1, 3s));
    QCOMPARE(hub.browsers().at(0).browser, "firefox");
}

void TestBrowserHub::requestAnswered_data()
{
    QTest::addColumn<QJsonObject>("answer");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QString>("message");

    QTest::newRow("value") << QJsonObject{{"tabs", 3}} << true << QString();
    QTest::newRow("refused") << QJsonObject{{"error", "Tab 7 gibt es nicht"}} << false
                             << QStringLiteral("Tab 7 gibt es nicht");
}

void TestBrowserHub::requestAnswered()
{
    QFETCH(QJsonObject, answer);
    QFETCH(bool, ok);
    QFETCH(QString, message);

    QTemporaryDir dir;
    BrowserHub hub(dir.path() + "/pellmora/browser.sock");
    QVERIFY(hub.start().ok());
    FakeHost host;
    QVERIFY(host.connectTo(hub.socketPath(), "chromium"));
    QVERIFY(hub.waitForBrowsers(1, 3s));
    const int id = hub.browsers().at(0).id;

    auto result = std::async(std::launch::async, [&] { return hub.request(id, {{"type", "count"}}, 5s); });
    const QList<QJsonObject> requests = host.nextRequests();
    QCOMPARE(requests.size(), 1);
    QCOMPARE(requests.at(0).value("type").toString(), "count");
    QJsonObject reply = answer;
    reply.insert("id", requests.at(0).value("id"));
    host.socket.write(NativeFrame::encode(reply));
    host.socket.waitForBytesWritten(2000);

    const Result<QJsonObject> got = result.get();
    QCOMPARE(got.ok(), ok);
    if (ok)
        QCOMPARE(got->value("tabs").toInt(), 3);
    else
        QCOMPARE(got.error(), message);
}

void TestBrowserHub::disconnectMidRequestFails()
{
    QTemporaryDir dir;
    BrowserHub hub(dir.path() + "/pellmora/browser.sock");
    QVERIFY(hub.start().ok());
    FakeHost host;
    QVERIFY(host.connectTo(hub.socketPath(), "firefox"));
    QVERIFY(hub.waitForBrowsers(1, 3s));
    const int id = hub.browsers().at(0).id;

    auto result = std::async(std::launch::async, [&] { return hub.request(id, {{"type", "list"}}, 60s); });
    QCOMPARE(host.nextRequests().size(), 1);
    host.socket.abort();
    // Fails on the disconnect, long before the one-minute limit.
    QCOMPARE(result.wait_for(10s), std::future_status::ready);
    const Result<QJsonObject> got = result.get();
    QVERIFY(!got.ok());
    QCOMPARE(got.error(), "Der Browser hat die Verbindung getrennt");
    QVERIFY(hub.browsers().isEmpty());
}

void TestBrowserHub::silentBrowserTimesOut()
{
    QTemporaryDir dir;
    BrowserHub hub(dir.path() + "/pellmora/browser.sock");
    QVERIFY(hub.start().ok());
    FakeHost host;
    QVERIFY(host.connectTo(hub.socketPath(), "chromium"));
    QVERIFY(hub.waitForBrowsers(1, 3s));
    const Result<QJsonObject> got = hub.request(hub.browsers().at(0).id, {{"type", "list"}}, 200ms);
    QVERIFY(!got.ok());
    QCOMPARE(got.error(), "Der Browser hat nicht rechtzeitig geantwortet");
    QVERIFY(!hub.request(9999, {{"type", "list"}}, 200ms).ok());
}

void TestBrowserHub::secondHubLeavesTheFirstAlone()
{
    QTemporaryDir dir;
    const QString path = dir.path() + "/pellmora/browser.sock";
    BrowserHub first(path);
    QVERIFY(first.start().ok());
    FakeHost host;
    QVERIFY(host.connectTo(path, "chromium"));
    QVERIFY(first.waitForBrowsers(1, 3s));
    QVERIFY(BrowserHub::inUse(path));

    BrowserHub second(path);
    const Status refused = second.start();
    QVERIFY(!refused.ok());
    QCOMPARE(refused.error(), "Die Browser-Verbindung gehört schon einem anderen Pellmora");

    // The first hub still owns the socket: new hosts reach it.
    FakeHost late;
    QVERIFY(late.connectTo(path, "firefox"));
    QVERIFY(first.waitForBrowsers(2, 3s));
    QVERIFY(second.browsers().isEmpty());
}

void TestBrowserHub::leftoverSocketFileIsTakenOver()
{
    QTemporaryDir dir;
    const QString path = dir.path() + "/pellmora/browser.sock";
    QVERIFY(QDir().mkpath(dir.path() + "/pellmora"));
    QFile leftover(path);
    QVERIFY(leftover.open(QIODevice::WriteOnly));
    leftover.close();
    QVERIFY(!BrowserHub::inUse(path));

    BrowserHub hub(path);
    QVERIFY(hub.start().ok());
    FakeHost host;
    QVERIFY(host.connectTo(path, "chromium"));
    QVERIFY(hub.waitForBrowsers(1, 3s));
}

void TestBrowserHub::waitForSettled_data()
{
    QTest::addColumn<QList<int>>("pauses"); // before each host connects, in ms
    QTest::addColumn<int>("settled");

    QTest::newRow("nobody") << QList<int>{} << 0;
    QTest::newRow("one") << QList<int>{0} << 1;
    QTest::newRow("two close together") << QList<int>{0, 100} << 2;
    QTest::newRow("three in a row") << QList<int>{0, 150, 150} << 3;
    QTest::newRow("second long after") << QList<int>{0, 2500} << 1;
}

void TestBrowserHub::waitForSettled()
{
    QFETCH(QList<int>, pauses);
    QFETCH(int, settled);

    QTemporaryDir dir;
    BrowserHub hub(dir.path() + "/pellmora/browser.sock");
    QVERIFY(hub.start().ok());
    std::promise<void> done;
    // Hosts connect from a thread of their own while this one waits.
    auto hosts = std::async(std::launch::async, [&, finished = done.get_future()] {
        std::list<FakeHost> connected;
        for (int pause : pauses) {
            std::this_thread::sleep_for(std::chrono::milliseconds(pause));
            connected.emplace_back().connectTo(hub.socketPath(), "chromium");
        }
        finished.wait();
    });
    QCOMPARE(hub.waitForSettled(1s, 700ms), settled);
    done.set_value();
    hosts.get();
}

PELLMORA_TEST_GUILESS_MAIN(TestBrowserHub)
#include "TestBrowserHub.moc"
