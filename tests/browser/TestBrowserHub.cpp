#include <QDeadlineTimer>
#include <QFile>
#include <QJsonArray>
#include <QLocalSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <future>
#include <list>
#include <numeric>

#include "BrowserHub.h"
#include "CliHome.h"
#include "ExtensionBridge.h"
#include "NativeFrame.h"
#include "TestRegistry.h"
#include "TestSupport.h"

using namespace std::chrono_literals;

namespace {

QJsonObject tab(int id, const QString &url, const QString &title = {})
{
    return title.isNull() ? QJsonObject{{"tabId", id}, {"url", url}} : QJsonObject{{"tabId", id}, {"url", url}, {"title", title}};
}

// One browser as the extension presents it to Pellmora: windows of
// {tabId, url, title}, answering list, count, close and open as the real one
// does, on the thread that calls serveOnce().
struct FakeExtension
{
    explicit FakeExtension(QString browser = "chromium") : name(std::move(browser)) {}

    QString name;
    QList<QList<QJsonObject>> windows;
    QString refuse;               // when set, every request is refused with it
    QList<QJsonObject> opened;    // the open requests, in order
    qsizetype largestRequest = 0; // bytes of JSON, as the host would relay it
    bool hold = false;            // requests wait unanswered while set
    QList<QJsonObject> held;
    QLocalSocket socket;
    NativeFrame reader;
    // "<browser> <type>" of every request to every fake, in arrival order.
    static inline QStringList journal;

    bool connectTo(const QString &path)
    {
        socket.abort();
        socket.connectToServer(path);
        reader = NativeFrame();
        return socket.waitForConnected(1000)
               && socket.write(NativeFrame::encode({{"type", "hello"}, {"protocol", 1}, {"browser", name}, {"instance", name}}))
               && socket.waitForBytesWritten(1000);
    }

    int tabCount() const
    {
        return std::accumulate(windows.cbegin(), windows.cend(), 0, [](int n, const auto &w) { return n + int(w.size()); });
    }

    QJsonObject answer(const QJsonObject &request)
    {
        const QString type = request.value("type").toString();
        if (!refuse.isEmpty())
            return {{"error", refuse}};
        if (type == "list") {
            QJsonArray listed;
            for (const auto &window : std::as_const(windows)) {
                QJsonArray tabs;
                for (QJsonObject t : window) {
                    t.insert("index", tabs.size());
                    tabs.append(t);
                }
                listed.append(QJsonObject{{"tabs", tabs}});
            }
            return {{"windows", listed}};
        }
        if (type == "count")
            return {{"tabs", tabCount()}, {"windows", int(windows.size() - windows.count({}))}};
        if (type == "close") {
            int closed = 0;
            for (const QJsonValue &wanted : request.value("tabs").toArray())
                for (auto &window : windows)
                    closed += int(window.removeIf([&](const QJsonObject &t) {
                        return t.value("tabId") == wanted["tabId"] && t.value("url") == wanted["url"];
                    }));
            return {{"closed", closed}};
        }
        opened.append(request);
        return {{"opened", request.value("urls").toArray().size()}, {"skipped", 0}, {"windowId", 77}};
    }

    // Answers what arrives within a few milliseconds (and what was held).
    void serveOnce()
    {
        if (socket.waitForReadyRead(10)) {
            for (const QJsonObject &request : reader.feed(socket.readAll())) {
                held.append(request);
                journal.append(name + u' ' + request.value("type").toString());
            }
        }
        for (const QJsonObject &request : hold ? QList<QJsonObject>() : std::exchange(held, {})) {
            largestRequest = std::max(largestRequest, NativeFrame::encode(request).size() - 4);
            QJsonObject reply = answer(request);
            reply.insert("id", request.value("id"));
            socket.write(NativeFrame::encode(reply));
            socket.flush();
        }
    }
};

} // namespace

// The hub Pellmora listens with and the bridge over it, with two fake
// browsers, Chromium connected first and Firefox last; and pellmora-cli sleep
// with these browsers.
class TestBrowserHub : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<BrowserHub> m_hub;
    std::unique_ptr<FakeExtension> m_chromium, m_firefox;

    // Runs call on a worker thread while the fakes answer on this one.
    template <typename F>
    auto serving(F call)
    {
        auto result = std::async(std::launch::async, call);
        while (result.wait_for(0ms) != std::future_status::ready) {
            m_chromium->serveOnce();
            m_firefox->serveOnce();
        }
        return result.get();
    }

private slots:
    void init()
    {
        m_hub = std::make_unique<BrowserHub>(m_dir.path() + "/pellmora/browser.sock");
        QVERIFY(m_hub->start());
        m_chromium = std::make_unique<FakeExtension>("chromium");
        m_firefox = std::make_unique<FakeExtension>("firefox");
        m_chromium->windows = {{tab(1, "https://a.ch/1", "A1"), tab(2, "about:blank"), tab(3, "https://b.ch/x")},
                               {tab(4, "about:blank")}};
        m_firefox->windows = {{tab(10, "https://Docs.example.org/p", "Docs"), tab(11, "https://a.ch/1", "A1 again")}};
        QVERIFY(m_chromium->connectTo(m_hub->socketPath()));
        QVERIFY(m_hub->waitForBrowsers(1, 3s));
        QVERIFY(m_firefox->connectTo(m_hub->socketPath()));
        QVERIFY(m_hub->waitForBrowsers(2, 3s));
    }

    void cleanup()
    {
        m_chromium.reset();
        m_firefox.reset();
        m_hub.reset();
    }

    void privateFolderAndLeftoverSocket()
    {
        // As after a crash: an open folder with a socket file nobody listens on.
        m_hub.reset();
        const QString folder = m_dir.path() + "/pellmora";
        QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ExeOther));
        QVERIFY(TestSupport::writeFile(folder + "/browser.sock", {}));
        m_hub = std::make_unique<BrowserHub>(folder + "/browser.sock");
        QVERIFY(m_hub->start());
        QCOMPARE(QFile::permissions(folder) & (QFile::ReadOther | QFile::WriteOther | QFile::ExeOther), 0);
        QVERIFY(m_chromium->connectTo(m_hub->socketPath()));
        QVERIFY(m_hub->waitForBrowsers(1, 3s));
    }

    void requests_data()
    {
        QTest::addColumn<QString>("browser"); // what the browser does with the request
        for (const char *browser : {"answers", "refuses", "hangs up", "stays silent"})
            QTest::newRow(browser) << QString::fromLatin1(browser);
    }

    void requests()
    {
        QFETCH(QString, browser);
        m_chromium->refuse = browser == "refuses" ? "Tab 7 gibt es nicht" : "";
        m_chromium->hold = browser == "hangs up" || browser == "stays silent";
        // A hang-up fails at once, long before the limit.
        const auto limit = browser == "stays silent" ? 200ms : 60s;
        const int id = m_hub->browsers().first().id;
        auto result = std::async(std::launch::async, [&] { return m_hub->request(id, {{"type", "count"}}, limit); });
        for (QDeadlineTimer deadline(10000); result.wait_for(0ms) != std::future_status::ready && !deadline.hasExpired();) {
            m_chromium->serveOnce();
            if (browser == "hangs up" && !m_chromium->held.isEmpty())
                m_chromium->socket.abort();
        }
        QCOMPARE(result.wait_for(0ms), std::future_status::ready);
        const Result<QJsonObject> got = result.get();
        QCOMPARE(got.ok(), browser == "answers");
        if (browser == "answers")
            QCOMPARE(got->value("tabs").toInt(), 4);
        if (browser == "refuses")
            QCOMPARE(got.error(), "Tab 7 gibt es nicht");
        QCOMPARE(m_hub->browsers().size(), browser == "hangs up" ? 1 : 2);
        QVERIFY(!m_hub->request(9999, {{"type", "list"}}, 100ms));
    }

    void secondHubLeavesTheFirstAlone()
    {
        BrowserHub second(m_hub->socketPath());
        QVERIFY(!second.start());
        // The first hub still owns the socket: new hosts reach it.
        FakeExtension late;
        QVERIFY(late.connectTo(m_hub->socketPath()));
        QVERIFY(m_hub->waitForBrowsers(3, 3s));
        QVERIFY(second.browsers().isEmpty());
    }

    void waitForSettled_data()
    {
        QTest::addColumn<QList<int>>("pauses"); // ms before each browser connects
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
        cleanup();
        BrowserHub hub(m_dir.path() + "/pellmora/browser.sock");
        QVERIFY(hub.start());
        std::promise<void> done;
        // Browsers connect from a thread of their own while this one waits.
        auto browsers = std::async(std::launch::async, [&, finished = done.get_future()] {
            std::list<FakeExtension> connected;
            for (int pause : pauses) {
                QThread::msleep(pause);
                connected.emplace_back().connectTo(hub.socketPath());
            }
            finished.wait();
        });
        QTEST(hub.waitForSettled(600ms, 400ms), "settled");
        done.set_value();
        browsers.get();
    }

    void noBrowserIsNotRunning()
    {
        m_chromium->socket.abort();
        m_firefox->socket.abort();
        QVERIFY(m_hub->waitForBrowsers(0, 3s));
        ExtensionBridge bridge(m_hub.get());
        QVERIFY(!bridge.isSafariRunning());
        QCOMPARE(bridge.closeTabs({"https://a.ch/1"}, {}).error(), SafariError::notRunning());
        QCOMPARE(bridge.reopen({QUrl("https://a.ch/")}, true).error(), SafariError::notRunning());
        QVERIFY(bridge.reopen({}, true).ok());
    }

    void snapshotAndCountAcrossBrowsers()
    {
        // Browsers' own blank and new-tab pages are no tabs to keep; a window of
        // only those is left out but keeps its number, a blank tab its position.
        m_chromium->windows[0] += {tab(5, "chrome://settings/", "Einstellungen"), tab(6, "https://newtab.example/", "N")};
        m_chromium->windows[1] += {tab(7, "ABOUT:NEWTAB"), tab(8, "favorites://"), tab(9, "chrome://new-tab-page/"),
                                   tab(12, "chrome-search://local-ntp/local-ntp.html"), tab(13, "")};
        ExtensionBridge bridge(m_hub.get());
        QVERIFY(bridge.isSafariRunning());
        const QList<SafariWindow> expected{
            {1, {{"A1", "https://a.ch/1", 1}, {"https://b.ch/x", "https://b.ch/x", 3}, {"Einstellungen", "chrome://settings/", 4},
                 {"N", "https://newtab.example/", 5}}},
            {3, {{"Docs", "https://Docs.example.org/p", 1}, {"A1 again", "https://a.ch/1", 2}}},
        };
        QCOMPARE(serving([&] { return bridge.snapshotWindows(); }).value(), expected);
        QCOMPARE(serving([&] { return bridge.countTabs(); }).value(), (SafariTabCount{13, 3}));
    }

    void closeTabs_data()
    {
        QTest::addColumn<QStringList>("saved");
        QTest::addColumn<QStringList>("keep");
        QTest::addColumn<int>("closed");
        QTest::addColumn<int>("chromiumLeft");
        QTest::addColumn<int>("firefoxLeft");
        QTest::newRow("exact address in both browsers") << QStringList{"https://a.ch/1"} << QStringList{} << 2 << 3 << 1;
        QTest::newRow("prefix is no match") << QStringList{"https://a.ch/"} << QStringList{} << 0 << 4 << 2;
        QTest::newRow("pinned domain in capitals") << QStringList{"https://a.ch/1", "https://b.ch/x"} << QStringList{"A.CH"} << 1 << 3 << 2;
        QTest::newRow("pinned, address in capitals") << QStringList{"https://Docs.example.org/p"} << QStringList{"docs.example.org"} << 0 << 4 << 2;
    }

    void closeTabs()
    {
        QFETCH(QStringList, saved);
        QFETCH(QStringList, keep);
        ExtensionBridge bridge(m_hub.get());
        QTEST(serving([&] { return bridge.closeTabs({saved.cbegin(), saved.cend()}, keep); }).value(), "closed");
        QTEST(m_chromium->tabCount(), "chromiumLeft");
        QTEST(m_firefox->tabCount(), "firefoxLeft");
    }

    void longListsGoInParts()
    {
        // 2,000 addresses of 600 bytes: one request would be over the 1 MB a
        // browser accepts, and it answers that by dropping the host. One address
        // too long for any request stays open and is skipped on reopening.
        QList<QUrl> urls{QUrl("https://example.org/lang?" + QString(600 * 1024, u'z'))};
        QSet<QString> saved{urls[0].toString()};
        QJsonArray expected;
        m_chromium->windows = {{tab(99, urls[0].toString())}};
        for (int i = 0; i < 2000; ++i) {
            urls.append(QUrl(QStringLiteral("https://example.org/%1?").arg(i) + QString(580, u'x')));
            saved.insert(urls.last().toString());
            expected.append(urls.last().toString());
            m_chromium->windows[0].append(tab(100 + i, urls.last().toString()));
        }

        ExtensionBridge bridge(m_hub.get());
        QCOMPARE(serving([&] { return bridge.closeTabs(saved, {}); }).value(), 2000);
        QCOMPARE(m_chromium->tabCount(), 1);
        QVERIFY(serving([&] { return bridge.reopen(urls, true); }).ok());
        // Later parts follow the first into the window it opened.
        QVERIFY(m_firefox->opened.size() > 1);
        QJsonArray all;
        for (qsizetype i = 0; i < m_firefox->opened.size(); ++i) {
            const QJsonObject part = m_firefox->opened.at(i);
            QCOMPARE(part.value("newWindow").toBool(), i == 0);
            QCOMPARE(part.value("windowId"), i == 0 ? QJsonValue(QJsonValue::Undefined) : QJsonValue(77));
            for (const QJsonValue &url : part.value("urls").toArray())
                all.append(url);
        }
        QCOMPARE(all, expected);
        QVERIFY(std::max(m_chromium->largestRequest, m_firefox->largestRequest) < NativeFrame::toBrowserLimit / 2);
    }

    void reopenInLastConnected()
    {
        // What a browser tab refuses goes to the desktop instead of nowhere.
        QList<QUrl> byDesktop;
        ExtensionBridge bridge(m_hub.get(), 10s, [&](const QUrl &url) { byDesktop.append(url); });
        const QList<QUrl> refused{QUrl("javascript:alert(1)"), QUrl("chrome://settings/"), QUrl("data:text/plain,x")};
        QVERIFY(serving([&] { return bridge.reopen(QList<QUrl>{QUrl("https://b.ch/x?q=%C3%A4")} + refused, true); }));
        QVERIFY(m_chromium->opened.isEmpty());
        QCOMPARE(m_firefox->opened.size(), 1);
        QCOMPARE(m_firefox->opened.at(0).value("urls").toArray(), QJsonArray{"https://b.ch/x?q=%C3%A4"});
        QCOMPARE(byDesktop, refused);
    }

    void operationsRunOneAtATime()
    {
        ExtensionBridge bridge(m_hub.get());
        FakeExtension::journal.clear();
        m_chromium->hold = true;
        auto closing = std::async(std::launch::async, [&] { return bridge.closeTabs({"https://a.ch/1"}, {}); });
        for (int i = 0; i < 300 && m_chromium->held.isEmpty(); ++i)
            m_chromium->serveOnce();
        // A reopen asked for meanwhile waits until the closing is done.
        auto opening = std::async(std::launch::async, [&] { return bridge.reopen({QUrl("https://c.ch/")}, false); });
        for (int i = 0; i < 30; ++i)
            m_firefox->serveOnce();
        m_chromium->hold = false;
        while (closing.wait_for(0ms) != std::future_status::ready || opening.wait_for(0ms) != std::future_status::ready) {
            m_chromium->serveOnce();
            m_firefox->serveOnce();
        }
        QVERIFY(closing.get() && opening.get());
        QCOMPARE(FakeExtension::journal,
                 (QStringList{"chromium list", "chromium close", "firefox list", "firefox close", "firefox open"}));
    }

    // pellmora-cli sleep with the browser connecting the way its host does:
    // over and over until the command's own hub appears.
    void cliSleep_data()
    {
        QTest::addColumn<QString>("browser");
        for (const char *browser : {"sleeps", "refuses to list", "is not there", "is held by the app"})
            QTest::newRow(browser) << QString::fromLatin1(browser);
    }

    void cliSleep()
    {
        QFETCH(QString, browser);
        m_chromium->refuse = browser == "refuses to list" ? "Kein Zugriff auf Tabs" : "";
        const QString socketPath = m_hub->socketPath();
        m_firefox->socket.abort();
        if (browser != "is held by the app") {
            m_hub.reset();
            m_chromium->socket.abort();
        }
        CliHome home;
        home.setEnv({{"XDG_RUNTIME_DIR", m_dir.path()}, {"PELLMORA_BROWSER_WAIT_MS", "1500,300"}});
        auto cli = std::async(std::launch::async, [&] { return home.run({"sleep", "--no-content", "--no-topics"}); });
        while (cli.wait_for(5ms) != std::future_status::ready) {
            if (m_chromium->socket.state() == QLocalSocket::ConnectedState)
                m_chromium->serveOnce();
            else if (browser != "is not there")
                m_chromium->connectTo(socketPath);
        }
        const TestSupport::ProcessResult result = cli.get();
        const bool slept = browser == "sleeps";
        QVERIFY2(result.exitCode == (slept ? 0 : 1), qPrintable(result.err));
        QStringList library;
        for (const SavedTab &t : home.library().tabs)
            library.append(QString::number(t.windowIndex) + ' ' + t.url);
        QCOMPARE(library, (slept ? QStringList{"1 https://a.ch/1", "1 https://b.ch/x"} : QStringList{}));
        // Saved tabs are closed; blank ones stay, and all when nothing was saved.
        QCOMPARE(m_chromium->tabCount(), slept ? 2 : 4);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestBrowserHub)
#include "TestBrowserHub.moc"
