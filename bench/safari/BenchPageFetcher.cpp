#include "PageFetcher.h"

#include <QCoreApplication>
#include <QStringList>

#include <cmath>

#include "BenchTable.h"
#include "LocalHttpServer.h"

// Sixty pages that each answer after 300 ms: with six requests in flight the
// batch should take ten rounds, about 3 s, plus little overhead.
int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    constexpr int pages = 60;
    constexpr int delayMs = 300;

    LocalHttpServer server;
    server.setHandler([](const LocalHttpServer::Request &r) {
        return LocalHttpServer::page("<html><head><title>Seite</title></head><body><article><p>Text der Seite "
                                         + r.path + "</p></article></body></html>",
                                     "text/html; charset=utf-8", delayMs);
    });
    QStringList addresses;
    for (int i = 0; i < pages; ++i)
        addresses << server.address(QStringLiteral("/seite/%1").arg(i));

    const PageFetcher fetcher;
    int fetched = 0;
    const double ms = Bench::medianMs(3, [&] { fetched = int(fetcher.fetchAll(addresses).size()); });

    const int rounds = int(std::ceil(double(pages) / fetcher.options().maxConcurrent));
    const double ideal = rounds * delayMs;
    return Bench::report(QStringLiteral("Page fetcher"),
                         {{QStringLiteral("60 pages at 300 ms, six in flight"), ms, QStringLiteral("ms"), ideal * 1.1},
                          {QStringLiteral("most requests in flight"), double(server.maxInFlight()),
                           QStringLiteral("req"), double(fetcher.options().maxConcurrent)},
                          {QStringLiteral("pages missing from the result"), double(pages - fetched),
                           QStringLiteral("pages"), 0.5}});
}
