#include "PageFetcher.h"

#include <QMutex>
#include <QMutexLocker>
#include <QTcpServer>
#include <QTest>
#include <QThread>

#include <algorithm>
#include <stop_token>
#include <thread>

#include "LocalHttpServer.h"
#include "TestRegistry.h"

using Response = LocalHttpServer::Response;

namespace {

PageFetcher::Options quickOptions()
{
    PageFetcher::Options o;
    o.timeout = 2.0;
    o.transferTimeout = 3.0;
    return o;
}

Response answer(int status, const QByteArray &body, const QByteArray &contentType = "text/html; charset=utf-8")
{
    Response r = LocalHttpServer::page(body, contentType);
    r.status = status;
    return r;
}

} // namespace

class TestPageFetcher : public QObject
{
    Q_OBJECT

private slots:
    void statusCodes_data();
    void statusCodes();
    void redirects_data();
    void redirects();
    void contentTypes_data();
    void contentTypes();
    void charsetsOverTheWire_data();
    void charsetsOverTheWire();
    void decode_data();
    void decode();
    void headersSentAndCookiesKept();
    void timeLimits_data();
    void timeLimits();
    void textIsCutToLimit();
    void unescapedAddressIsFetched();
    void otherSchemesMakeNoRequest_data();
    void otherSchemesMakeNoRequest();
    void unreachablePortGivesEmptyText();
    void inFlightNeverExceedsMaximum_data();
    void inFlightNeverExceedsMaximum();
    void startsInAddressOrder_data();
    void startsInAddressOrder();
    void duplicatesFetchedOnce();
    void progressOncePerPage();
    void cancelStopsNewAndAbortsRunning();
    void cancelFromProgressStartsNothingMore();
    void alreadyCancelledMakesNoRequest();
    void runsOnWorkerThreadWithoutMainLoop();
};

void TestPageFetcher::statusCodes_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("expected");
    QTest::newRow("199 below range") << 199 << QString();
    QTest::newRow("200 ok") << 200 << QStringLiteral("Hallo Welt");
    QTest::newRow("399 top of range") << 399 << QStringLiteral("Hallo Welt");
    QTest::newRow("404 not found") << 404 << QString();
    QTest::newRow("500 server error") << 500 << QString();
}

void TestPageFetcher::statusCodes()
{
    QFETCH(int, status);
    QFETCH(QString, expected);
    LocalHttpServer server;
    server.route("/p", answer(status, "<p>Hallo Welt</p>"));
    const QString text = PageFetcher(quickOptions()).fetchText(server.address(QStringLiteral("/p")));
    QCOMPARE(text, expected);
    QCOMPARE(server.requestCount("/p"), 1);
}

void TestPageFetcher::redirects_data()
{
    QTest::addColumn<int>("finalStatus");
    QTest::addColumn<QString>("expected");
    QTest::newRow("chain ends in 200") << 200 << QStringLiteral("Ziel erreicht");
    QTest::newRow("chain ends in 404") << 404 << QString();
}

void TestPageFetcher::redirects()
{
    QFETCH(int, finalStatus);
    QFETCH(QString, expected);
    LocalHttpServer server;
    server.route("/start", LocalHttpServer::redirect("/mitte", 301));
    server.route("/mitte", LocalHttpServer::redirect(server.address(QStringLiteral("/ziel")).toUtf8(), 302));
    server.route("/ziel", answer(finalStatus, "<p>Ziel erreicht</p>"));
    QCOMPARE(PageFetcher(quickOptions()).fetchText(server.address(QStringLiteral("/start"))), expected);
    // The network stack now and then repeats a hop of a redirect on a fresh
    // connection, so only the ends of the chain are counted.
    QCOMPARE(server.requestCount("/start"), 1);
    QVERIFY(server.requestCount("/mitte") >= 1);
    QCOMPARE(server.requestCount("/ziel"), 1);
    QCOMPARE(server.requests().constLast().path, QByteArray("/ziel"));
}

void TestPageFetcher::contentTypes_data()
{
    QTest::addColumn<QByteArray>("contentType");
    QTest::addColumn<bool>("read");
    QTest::newRow("html") << QByteArray("text/html; charset=utf-8") << true;
    QTest::newRow("upper-case html") << QByteArray("TEXT/HTML") << true;
    QTest::newRow("xhtml") << QByteArray("application/xhtml+xml") << true;
    QTest::newRow("plain text") << QByteArray("text/plain") << true;
    QTest::newRow("pdf") << QByteArray("application/pdf") << false;
    QTest::newRow("image") << QByteArray("image/png") << false;
    QTest::newRow("none") << QByteArray() << true;
}

void TestPageFetcher::contentTypes()
{
    QFETCH(QByteArray, contentType);
    QFETCH(bool, read);
    LocalHttpServer server;
    server.route("/p", answer(200, "<p>Inhalt der Seite</p>", contentType));
    const QString text = PageFetcher(quickOptions()).fetchText(server.address(QStringLiteral("/p")));
    QCOMPARE(text, read ? QStringLiteral("Inhalt der Seite") : QString());
}

void TestPageFetcher::charsetsOverTheWire_data()
{
    QTest::addColumn<QByteArray>("contentType");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("expected");
    QTest::newRow("E4 under ISO-8859-1") << QByteArray("text/html; charset=ISO-8859-1")
                                         << QByteArray("<p>K\xe4se</p>") << QStringLiteral("Käse");
    QTest::newRow("E4 under UTF-8 falls back to Latin-1")
        << QByteArray("text/html; charset=utf-8") << QByteArray("<p>K\xe4se</p>") << QStringLiteral("Käse");
    QTest::newRow("valid UTF-8 without charset")
        << QByteArray("text/html") << QByteArray("<p>K\xc3\xa4se</p>") << QStringLiteral("Käse");
    QTest::newRow("Latin-1 header wins over UTF-8 bytes")
        << QByteArray("text/html; charset=latin1") << QByteArray("<p>K\xc3\xa4se</p>") << QStringLiteral("KÃ¤se");
}

void TestPageFetcher::charsetsOverTheWire()
{
    QFETCH(QByteArray, contentType);
    QFETCH(QByteArray, body);
    QFETCH(QString, expected);
    LocalHttpServer server;
    server.route("/p", answer(200, body, contentType));
    QCOMPARE(PageFetcher(quickOptions()).fetchText(server.address(QStringLiteral("/p"))), expected);
}

void TestPageFetcher::decode_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("contentType");
    QTest::addColumn<QString>("expected");
    QTest::newRow("iso-8859-1") << QByteArray("\xe4") << QStringLiteral("text/html; charset=iso-8859-1") << QStringLiteral("ä");
    QTest::newRow("iso-8859-15 counts as Latin-1")
        << QByteArray("\xa4") << QStringLiteral("text/html; charset=iso-8859-15") << QStringLiteral("\u00a4");
    QTest::newRow("windows-1252 read as Latin-1")
        << QByteArray("\x80") << QStringLiteral("text/html; charset=windows-1252") << QStringLiteral("\u0080");
    QTest::newRow("latin1 keeps UTF-8 bytes apart")
        << QByteArray("\xc3\xa4") << QStringLiteral("text/html; charset=latin1") << QStringLiteral("Ã¤");
    QTest::newRow("utf-8 valid") << QByteArray("\xc3\xa4\xf0\x9f\x8c\x99") << QStringLiteral("text/html; charset=utf-8")
                                 << QStringLiteral("ä🌙");
    QTest::newRow("utf-8 invalid retried as Latin-1")
        << QByteArray("a\xe4z") << QStringLiteral("text/html; charset=utf-8") << QStringLiteral("aäz");
    QTest::newRow("no charset, invalid UTF-8") << QByteArray("\xfc\xe4") << QString() << QStringLiteral("üä");
    QTest::newRow("truncated UTF-8 sequence") << QByteArray("ab\xc3") << QStringLiteral("text/plain")
                                              << QStringLiteral("ab\u00c3");
    QTest::newRow("other charset name ignored")
        << QByteArray("\xc3\xa4") << QStringLiteral("text/html; charset=koi8-r") << QStringLiteral("ä");
    QTest::newRow("empty body") << QByteArray() << QStringLiteral("text/html") << QString();
}

void TestPageFetcher::decode()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, contentType);
    QFETCH(QString, expected);
    QCOMPARE(PageFetcher::decode(body, contentType), expected);
}

void TestPageFetcher::headersSentAndCookiesKept()
{
    LocalHttpServer server;
    Response withCookie = LocalHttpServer::redirect("/zwei", 302);
    withCookie.headers.emplaceBack("Set-Cookie", "sitzung=abc; Path=/");
    server.route("/eins", withCookie);
    server.route("/zwei", answer(200, "<p>Zweite Seite</p>"));

    const PageFetcher fetcher(quickOptions());
    QCOMPARE(fetcher.fetchText(server.address(QStringLiteral("/eins"))), QStringLiteral("Zweite Seite"));
    QCOMPARE(fetcher.fetchText(server.address(QStringLiteral("/zwei"))), QStringLiteral("Zweite Seite"));
    // A new fetcher starts without them.
    QCOMPARE(PageFetcher(quickOptions()).fetchText(server.address(QStringLiteral("/zwei"))),
             QStringLiteral("Zweite Seite"));

    const QList<LocalHttpServer::Request> log = server.requests();
    QCOMPARE(log.size(), 4);
    // A cookie set on the way reaches the target, and stays for the fetcher's
    // later pages: sites that send a visitor round to set one show nothing
    // without it.
    const QList<QByteArray> cookies{QByteArray(), "sitzung=abc", "sitzung=abc", QByteArray()};
    for (qsizetype i = 0; i < log.size(); ++i)
        QCOMPARE(log.at(i).headers.value("cookie"), cookies.at(i));
    for (const LocalHttpServer::Request &r : log) {
        QCOMPARE(r.method, QByteArray("GET"));
        QCOMPARE(r.headers.value("user-agent"),
                 QByteArray("Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/605.1.15 "
                            "(KHTML, like Gecko) Version/26.0 Safari/605.1.15"));
        QCOMPARE(r.headers.value("accept-language"), QByteArray("de-CH,de;q=0.9,en;q=0.8"));
        QVERIFY(!r.headers.contains("authorization"));
    }
}

void TestPageFetcher::timeLimits_data()
{
    QTest::addColumn<int>("delayMs");
    QTest::addColumn<double>("timeout");
    QTest::addColumn<double>("transferTimeout");
    QTest::addColumn<bool>("read");
    QTest::newRow("answer within both limits") << 50 << 1.0 << 2.0 << true;
    QTest::newRow("request stalls past its limit") << 1500 << 0.3 << 5.0 << false;
    QTest::newRow("transfer longer than its limit") << 1500 << 5.0 << 0.3 << false;
}

void TestPageFetcher::timeLimits()
{
    QFETCH(int, delayMs);
    QFETCH(double, timeout);
    QFETCH(double, transferTimeout);
    QFETCH(bool, read);
    LocalHttpServer server;
    server.route("/langsam", LocalHttpServer::page("<p>Endlich da</p>", "text/html", delayMs));
    PageFetcher::Options options;
    options.timeout = timeout;
    options.transferTimeout = transferTimeout;
    const QString text = PageFetcher(options).fetchText(server.address(QStringLiteral("/langsam")));
    QCOMPARE(text, read ? QStringLiteral("Endlich da") : QString());
}

void TestPageFetcher::textIsCutToLimit()
{
    LocalHttpServer server;
    server.route("/lang", answer(200, "<p>abcdefghijklmnopqrstuvwxyz</p>"));
    PageFetcher::Options options = quickOptions();
    options.limit = 7;
    QCOMPARE(PageFetcher(options).fetchText(server.address(QStringLiteral("/lang"))), QStringLiteral("abcdefg"));
}

void TestPageFetcher::unescapedAddressIsFetched()
{
    LocalHttpServer server;
    server.route("/search", answer(200, "<p>Gefunden</p>"));
    const QString text = PageFetcher(quickOptions()).fetchText(server.address(QStringLiteral("/search?q=a|b")));
    QCOMPARE(text, QStringLiteral("Gefunden"));
}

void TestPageFetcher::otherSchemesMakeNoRequest_data()
{
    QTest::addColumn<QString>("address");
    QTest::newRow("file") << QStringLiteral("file:///etc/hostname");
    QTest::newRow("about") << QStringLiteral("about:blank");
    QTest::newRow("favorites") << QStringLiteral("favorites://");
    QTest::newRow("mail") << QStringLiteral("mailto:anna@example.ch");
    QTest::newRow("ftp") << QStringLiteral("ftp://127.0.0.1/datei.html");
    QTest::newRow("no address") << QStringLiteral("kein Link");
    QTest::newRow("empty") << QString();
}

void TestPageFetcher::otherSchemesMakeNoRequest()
{
    QFETCH(QString, address);
    LocalHttpServer server;
    server.setHandler([](const LocalHttpServer::Request &) { return answer(200, "<p>darf nicht kommen</p>"); });
    int calls = 0;
    const QHash<QString, QString> texts =
        PageFetcher(quickOptions()).fetchAll({address}, [&](int done, int total) {
            ++calls;
            QCOMPARE(done, 1);
            QCOMPARE(total, 1);
        });
    QCOMPARE(texts.size(), 1);
    QCOMPARE(texts.value(address, QStringLiteral("fehlt")), QString());
    QCOMPARE(calls, 1);
    QCOMPARE(server.requests().size(), 0);
}

void TestPageFetcher::unreachablePortGivesEmptyText()
{
    quint16 closedPort = 0;
    {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        closedPort = probe.serverPort();
    }
    LocalHttpServer server;
    server.route("/gut", answer(200, "<p>Erreichbar</p>"));
    const QString dead = QStringLiteral("http://127.0.0.1:%1/weg").arg(closedPort);
    const QString good = server.address(QStringLiteral("/gut"));

    const PageFetcher fetcher(quickOptions());
    QCOMPARE(fetcher.fetchText(dead), QString());
    const QHash<QString, QString> texts = fetcher.fetchAll({dead, good});
    QCOMPARE(texts.size(), 2);
    QCOMPARE(texts.value(dead, QStringLiteral("fehlt")), QString());
    QCOMPARE(texts.value(good), QStringLiteral("Erreichbar"));
}

void TestPageFetcher::inFlightNeverExceedsMaximum_data()
{
    QTest::addColumn<int>("pages");
    QTest::addColumn<int>("maxConcurrent");
    QTest::addColumn<int>("delayMs");
    QTest::addColumn<int>("expectedMax");
    QTest::newRow("60 pages, six at once") << 60 << 6 << 100 << 6;
    QTest::newRow("12 pages, two at once") << 12 << 2 << 100 << 2;
    // One round only, so the answers wait long enough for all to overlap.
    QTest::newRow("5 pages, ten allowed") << 5 << 10 << 400 << 5;
    QTest::newRow("5 pages, one at a time") << 5 << 1 << 50 << 1;
}

void TestPageFetcher::inFlightNeverExceedsMaximum()
{
    QFETCH(int, pages);
    QFETCH(int, maxConcurrent);
    QFETCH(int, delayMs);
    QFETCH(int, expectedMax);
    LocalHttpServer server;
    server.setHandler([delayMs](const LocalHttpServer::Request &r) {
        return LocalHttpServer::page("<p>Seite " + r.path + "</p>", "text/html", delayMs);
    });
    QStringList addresses;
    for (int i = 0; i < pages; ++i)
        addresses << server.address(QStringLiteral("/seite/%1").arg(i));
    PageFetcher::Options options = quickOptions();
    options.maxConcurrent = maxConcurrent;
    const QHash<QString, QString> texts = PageFetcher(options).fetchAll(addresses);
    QCOMPARE(texts.size(), pages);
    QCOMPARE(server.requests().size(), pages);
    QCOMPARE(server.maxInFlight(), expectedMax);
    QCOMPARE(texts.value(addresses.at(3)), QStringLiteral("Seite /seite/3"));
}

void TestPageFetcher::startsInAddressOrder_data()
{
    QTest::addColumn<int>("maxConcurrent");
    QTest::newRow("one at a time") << 1;
    QTest::newRow("three at once") << 3;
    QTest::newRow("six at once") << 6;
}

void TestPageFetcher::startsInAddressOrder()
{
    QFETCH(int, maxConcurrent);
    LocalHttpServer server;
    // For every request: how many answers the server had sent when it arrived.
    QMutex mutex;
    QHash<QByteArray, int> answeredBefore;
    QList<QByteArray> arrival;
    server.setHandler([&](const LocalHttpServer::Request &r) {
        const int answered = int(server.requests().size()) - server.inFlight();
        QMutexLocker lock(&mutex);
        answeredBefore.insert(r.path, answered);
        arrival.append(r.path);
        // Uneven delays, so pages finish in an order unlike the start order.
        const int delay = 20 + int(qHash(r.path) % 5) * 25;
        return LocalHttpServer::page("<p>Seite</p>", "text/html", delay);
    });
    const QStringList paths = {QStringLiteral("/p9"), QStringLiteral("/P1"), QStringLiteral("/p10"),
                               QStringLiteral("/a"),  QStringLiteral("/p2"), QStringLiteral("/b/1"),
                               QStringLiteral("/b"),  QStringLiteral("/z"),  QStringLiteral("/p1"),
                               QStringLiteral("/_"),  QStringLiteral("/Z"),  QStringLiteral("/b0")};
    QStringList addresses;
    for (const QString &p : paths)
        addresses << server.address(p);
    PageFetcher::Options options = quickOptions();
    options.maxConcurrent = maxConcurrent;
    QCOMPARE(PageFetcher(options).fetchAll(addresses).size(), paths.size());

    QList<QByteArray> sorted;
    for (const QString &p : paths)
        sorted << p.toUtf8();
    std::sort(sorted.begin(), sorted.end());
    QMutexLocker lock(&mutex);
    QCOMPARE(arrival.size(), sorted.size());
    for (int j = 0; j < sorted.size(); ++j) {
        // The page at sorted position j may only start once j - max + 1 pages are done.
        QVERIFY2(answeredBefore.value(sorted.at(j)) >= j - maxConcurrent + 1, sorted.at(j).constData());
    }
    if (maxConcurrent == 1)
        QCOMPARE(arrival, sorted);
}

void TestPageFetcher::duplicatesFetchedOnce()
{
    LocalHttpServer server;
    server.route("/doppelt", answer(200, "<p>Nur einmal</p>"));
    const QString address = server.address(QStringLiteral("/doppelt"));
    QList<std::pair<int, int>> calls;
    const QHash<QString, QString> texts = PageFetcher(quickOptions()).fetchAll(
        {address, address, address}, [&](int done, int total) { calls.append({done, total}); });
    QCOMPARE(server.requestCount("/doppelt"), 1);
    QCOMPARE(texts.size(), 1);
    QCOMPARE(texts.value(address), QStringLiteral("Nur einmal"));
    QCOMPARE(calls, (QList<std::pair<int, int>>{{1, 1}}));
}

void TestPageFetcher::progressOncePerPage()
{
    LocalHttpServer server;
    server.setHandler([](const LocalHttpServer::Request &r) {
        if (r.path.endsWith('7'))
            return answer(404, "weg");
        return LocalHttpServer::page("<p>Seite</p>", "text/html", int(r.path.back() - '0') * 10);
    });
    QStringList addresses;
    for (int i = 0; i < 9; ++i)
        addresses << server.address(QStringLiteral("/s%1").arg(i));
    addresses << QStringLiteral("about:blank");

    QList<int> done;
    bool sameThread = true;
    const QHash<QString, QString> texts =
        PageFetcher(quickOptions()).fetchAll(addresses, [&](int d, int total) {
            done.append(d);
            sameThread = sameThread && QThread::currentThread() == thread();
            QCOMPARE(total, 10);
        });
    QCOMPARE(done, (QList<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
    QVERIFY(sameThread);
    QCOMPARE(texts.size(), 10);
    QCOMPARE(texts.value(addresses.at(7), QStringLiteral("fehlt")), QString());
    QCOMPARE(texts.value(addresses.at(8)), QStringLiteral("Seite"));
}

void TestPageFetcher::cancelStopsNewAndAbortsRunning()
{
    LocalHttpServer server;
    server.setHandler([](const LocalHttpServer::Request &) {
        return LocalHttpServer::page("<p>Zu spaet</p>", "text/html", 2500);
    });
    QStringList addresses;
    for (int i = 0; i < 60; ++i)
        addresses << server.address(QStringLiteral("/s%1").arg(i));

    std::stop_source source;
    std::jthread canceller([&](std::stop_token own) {
        while (!own.stop_requested() && server.inFlight() < 6)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        source.request_stop();
    });
    PageFetcher::Options options;
    options.timeout = 10.0;
    options.transferTimeout = 10.0;
    const QHash<QString, QString> texts = PageFetcher(options).fetchAll(addresses, {}, source.get_token());
    canceller.request_stop();

    // Nothing had finished; the six running requests were aborted, none were added.
    QVERIFY(texts.isEmpty());
    QCOMPARE(server.requests().size(), 6);
    QTRY_COMPARE(server.inFlight(), 0);
}

void TestPageFetcher::cancelFromProgressStartsNothingMore()
{
    LocalHttpServer server;
    server.setHandler([](const LocalHttpServer::Request &) { return answer(200, "<p>Seite</p>"); });
    QStringList addresses;
    for (int i = 0; i < 8; ++i)
        addresses << server.address(QStringLiteral("/s%1").arg(i));
    PageFetcher::Options options = quickOptions();
    options.maxConcurrent = 1;
    std::stop_source source;
    const QHash<QString, QString> texts = PageFetcher(options).fetchAll(
        addresses, [&](int done, int) {
            if (done == 3)
                source.request_stop();
        },
        source.get_token());
    QCOMPARE(texts.size(), 3);
    QVERIFY(texts.contains(addresses.at(2)));
    QCOMPARE(server.requests().size(), 3);
}

void TestPageFetcher::alreadyCancelledMakesNoRequest()
{
    LocalHttpServer server;
    server.route("/p", answer(200, "<p>Seite</p>"));
    std::stop_source source;
    source.request_stop();
    const PageFetcher fetcher(quickOptions());
    QVERIFY(fetcher.fetchAll({server.address(QStringLiteral("/p"))}, {}, source.get_token()).isEmpty());
    QCOMPARE(fetcher.fetchText(server.address(QStringLiteral("/p")), source.get_token()), QString());
    QCOMPARE(server.requests().size(), 0);
}

void TestPageFetcher::runsOnWorkerThreadWithoutMainLoop()
{
    LocalHttpServer server;
    server.setHandler([](const LocalHttpServer::Request &r) {
        return LocalHttpServer::page("<p>Seite " + r.path + "</p>", "text/html", 30);
    });
    const QStringList addresses = {server.address(QStringLiteral("/x")), server.address(QStringLiteral("/y"))};
    QHash<QString, QString> texts;
    // The main thread blocks in join(), so the fetch must not need its event loop.
    std::thread worker([&] { texts = PageFetcher(quickOptions()).fetchAll(addresses); });
    worker.join();
    QCOMPARE(texts.value(addresses.at(0)), QStringLiteral("Seite /x"));
    QCOMPARE(texts.value(addresses.at(1)), QStringLiteral("Seite /y"));
}

PELLMORA_TEST_GUILESS_MAIN(TestPageFetcher)
#include "TestPageFetcher.moc"
