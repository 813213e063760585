#include "PageFetcher.h"

#include <QMutex>
#include <QTest>
#include <QThread>

#include <future>
#include <stop_token>
#include <thread>

#include "LocalHttpServer.h"
#include "TestRegistry.h"

using Response = LocalHttpServer::Response;

namespace {

Response answer(int status, const QByteArray &body, const QByteArray &type = "text/html; charset=utf-8", int delayMs = 0)
{
    Response r = LocalHttpServer::page(body, type, delayMs);
    r.status = status;
    return r;
}

PageFetcher::Options options(int maxConcurrent = 6, double timeout = 2.0, double transferTimeout = 3.0, int limit = 20000)
{
    return {timeout, transferTimeout, maxConcurrent, limit};
}

} // namespace

class TestPageFetcher : public QObject
{
    Q_OBJECT

private slots:
    void fetchText_data()
    {
        QTest::addColumn<QString>("address"); // a path on the test server, or a whole address
        QTest::addColumn<Response>("page");   // what the server answers for /p
        QTest::addColumn<PageFetcher::Options>("options");
        QTest::addColumn<QString>("text");

        const auto ok = answer(200, "<p>Hallo Welt</p>");
        QTest::newRow("200") << "/p" << ok << options() << "Hallo Welt";
        QTest::newRow("399 top of range") << "/p" << answer(399, "<p>Hallo Welt</p>") << options() << "Hallo Welt";
        QTest::newRow("404") << "/p" << answer(404, "<p>x</p>") << options() << "";
        QTest::newRow("redirects to 200") << "/umweg" << ok << options() << "Hallo Welt";
        QTest::newRow("redirects to 404") << "/umweg" << answer(404, "<p>x</p>") << options() << "";
        QTest::newRow("unescaped address") << "/p?q=a|b" << ok << options() << "Hallo Welt";
        QTest::newRow("no content type") << "/p" << answer(200, "<p>Hallo Welt</p>", "") << options() << "Hallo Welt";
        QTest::newRow("pdf") << "/p" << answer(200, "<p>x</p>", "application/pdf") << options() << "";
        QTest::newRow("E4 under ISO-8859-1") << "/p" << answer(200, "<p>K\xe4se</p>", "TEXT/HTML; charset=ISO-8859-1") << options() << "Käse";
        QTest::newRow("E4 under UTF-8 falls back to Latin-1") << "/p" << answer(200, "<p>K\xe4se</p>") << options() << "Käse";
        QTest::newRow("UTF-8 without charset")
            << "/p" << answer(200, "<p>K\xc3\xa4se \xf0\x9f\x8c\x99</p>", "text/html") << options() << "Käse 🌙";
        QTest::newRow("Latin-1 header wins over UTF-8 bytes")
            << "/p" << answer(200, "<p>K\xc3\xa4se</p>", "text/html; charset=latin1") << options() << "KÃ¤se";
        QTest::newRow("cut to the limit") << "/p" << ok << options(6, 2, 3, 7) << "Hallo W";
        QTest::newRow("request stalls past its limit") << "/p" << answer(200, "<p>da</p>", "text/html", 1000) << options(6, 0.2, 5) << "";
        QTest::newRow("transfer longer than its limit") << "/p" << answer(200, "<p>da</p>", "text/html", 1000) << options(6, 5, 0.2) << "";
        QTest::newRow("unreachable port") << "http://127.0.0.1:1/weg" << ok << options() << "";
        for (const char *other : {"file:///etc/hostname", "ftp://127.0.0.1/p", "mailto:anna@example.ch", "kein Link"})
            QTest::newRow(other) << other << ok << options() << "";
    }

    void fetchText()
    {
        QFETCH(QString, address);
        QFETCH(Response, page);
        QFETCH(PageFetcher::Options, options);
        LocalHttpServer server;
        server.route("/umweg", LocalHttpServer::redirect("/mitte", 301));
        server.route("/mitte", LocalHttpServer::redirect(server.address("/p").toUtf8(), 302));
        server.route("/p", page);
        QTEST(PageFetcher(options).fetchText(address.startsWith('/') ? server.address(address) : address), "text");
        // Only the end of a redirect chain is counted: the network stack now and
        // then repeats a hop on a fresh connection.
        const QList<LocalHttpServer::Request> requests = server.requests();
        QCOMPARE(std::count_if(requests.cbegin(), requests.cend(), [](const auto &r) { return r.path.startsWith("/p"); }),
                 address.startsWith('/') ? 1 : 0);
    }

    void cookiesStayWithTheFetcher()
    {
        // Sites that send a visitor round to set a cookie show nothing without it.
        LocalHttpServer server;
        Response withCookie = LocalHttpServer::redirect("/zwei", 302);
        withCookie.headers.emplaceBack("Set-Cookie", "sitzung=abc; Path=/");
        server.route("/eins", withCookie);
        server.route("/zwei", answer(200, "<p>Zweite Seite</p>"));
        const PageFetcher fetcher(options());
        QCOMPARE(fetcher.fetchText(server.address("/eins")), "Zweite Seite");
        QCOMPARE(fetcher.fetchText(server.address("/zwei")), "Zweite Seite");
        QCOMPARE(PageFetcher(options()).fetchText(server.address("/zwei")), "Zweite Seite");
        const QList<QByteArray> cookies{"", "sitzung=abc", "sitzung=abc", ""};
        QCOMPARE(server.requests().size(), cookies.size());
        for (qsizetype i = 0; i < cookies.size(); ++i)
            QCOMPARE(server.requests().at(i).headers.value("cookie"), cookies.at(i));
    }

    void fetchAllInParallel_data()
    {
        QTest::addColumn<int>("pages");
        QTest::addColumn<int>("maxConcurrent");
        QTest::addColumn<int>("delayMs");
        QTest::newRow("12 pages, two at once") << 12 << 2 << 100;
        // One round only, so the answers wait long enough for all to overlap.
        QTest::newRow("5 pages, ten allowed") << 5 << 10 << 400;
        QTest::newRow("5 pages, one at a time") << 5 << 1 << 20;
    }

    void fetchAllInParallel()
    {
        QFETCH(int, pages);
        QFETCH(int, maxConcurrent);
        QFETCH(int, delayMs);
        LocalHttpServer server;
        server.setHandler([delayMs](const LocalHttpServer::Request &r) {
            return answer(r.path.endsWith('3') ? 404 : 200, "<p>Seite " + r.path + "</p>", "text/html", delayMs);
        });
        // Out of order, one twice, one not fetched at all.
        QStringList addresses{"about:blank"};
        for (int i = pages - 1; i >= 0; --i)
            addresses << server.address(QStringLiteral("/s%1").arg(i));
        addresses << addresses.at(1);
        QList<int> done;
        // On a worker thread, while this one blocks: the fetch needs no main loop.
        const QHash<QString, QString> texts = std::async(std::launch::async, [&] {
            return PageFetcher(options(maxConcurrent)).fetchAll(addresses, [&](int d, int total) { done.append(total - d); });
        }).get();
        QCOMPARE(texts.size(), pages + 1);
        QCOMPARE(texts.value(server.address("/s1")), "Seite /s1");
        QCOMPARE(texts.value(server.address("/s3"), "fehlt"), "");
        QCOMPARE(done.size(), pages + 1); // once per page, counting up to all of them
        QCOMPARE(done.last(), 0);
        QCOMPARE(server.requests().size(), pages);
        QCOMPARE(server.maxInFlight(), std::min(pages, maxConcurrent));
        if (maxConcurrent == 1) // started in ascending address order
            for (int i = 0; i < pages; ++i)
                QCOMPARE(server.requests().at(i).path, QStringLiteral("/s%1").arg(i).toUtf8());
    }

    void cancel()
    {
        LocalHttpServer server;
        server.setHandler([](const LocalHttpServer::Request &r) {
            return answer(200, "<p>Seite</p>", "text/html", r.path.startsWith("/langsam") ? 3000 : 0);
        });
        QStringList quick, slow;
        for (int i = 0; i < 20; ++i) {
            quick << server.address(QStringLiteral("/s%1").arg(i));
            slow << server.address(QStringLiteral("/langsam%1").arg(i));
        }
        // Stopped from the progress: nothing more starts.
        std::stop_source fromProgress;
        const auto texts = PageFetcher(options(1)).fetchAll(quick, [&](int done, int) {
            if (done == 3)
                fromProgress.request_stop();
        }, fromProgress.get_token());
        QCOMPARE(texts.size(), 3);
        QCOMPARE(server.requests().size(), 3);

        // Stopped with six running: they are aborted, none are added.
        server.clearLog();
        std::stop_source source;
        std::jthread canceller([&](std::stop_token own) {
            while (!own.stop_requested() && server.inFlight() < 6)
                QThread::msleep(5);
            source.request_stop();
        });
        QVERIFY(PageFetcher(options(6, 10, 10)).fetchAll(slow, {}, source.get_token()).isEmpty());
        QCOMPARE(server.requests().size(), 6);
        QTRY_COMPARE(server.inFlight(), 0);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestPageFetcher)
#include "TestPageFetcher.moc"
