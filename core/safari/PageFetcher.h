#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>

#include <QNetworkCookieJar>

#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>

// Downloads saved pages and turns them into readable text. The only network
// client of the system: GET over http and https, a few requests at a time.
// Cookies live in memory as long as the fetcher, so a page that sets one on
// a redirect gets it back on the target; nothing is written to disk (no
// cache, no credentials). A page that cannot be fetched simply yields the
// empty text; no error ever reaches the caller.
//
// Thread-safe: every call runs its own event loop and network manager in the
// calling thread, so it may be called from any worker thread.
class PageFetcher
{
public:
    struct Options
    {
        double timeout = 8.0;          // seconds a request may stall
        double transferTimeout = 12.0; // seconds a whole transfer may take
        int maxConcurrent = 6;         // requests in flight at most; at least 1
        int limit = 20000;             // characters of readable text kept per page
        friend bool operator==(const Options &, const Options &) = default;
    };

    // Called once per finished page with (done, total), done rising from 1.
    using Progress = std::function<void(int done, int total)>;

    static constexpr char userAgent[] =
        "Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/605.1.15 "
        "(KHTML, like Gecko) Version/26.0 Safari/605.1.15";
    static constexpr char acceptLanguage[] = "de-CH,de;q=0.9,en;q=0.8";

    PageFetcher();
    explicit PageFetcher(const Options &options);

    const Options &options() const { return m_options; }

    // The page's readable text, or the empty text when anything goes wrong.
    QString fetchText(const QString &address, std::stop_token stop = {}) const;

    // Readable text per address, duplicates fetched once. Requests start in
    // ascending address order, at most maxConcurrent at a time. When `stop`
    // is requested no new request starts, running ones are aborted and the
    // pages finished so far are returned.
    QHash<QString, QString> fetchAll(const QStringList &addresses, const Progress &progress = {},
                                     std::stop_token stop = {}) const;

    // The body as text; `contentType` is the lower-cased Content-Type header.
    static QString decode(const QByteArray &body, const QString &contentType);

    // The cookies of all calls, shared by copies of the fetcher.
    struct CookieSession
    {
        std::mutex mutex;
        QNetworkCookieJar jar;
    };

private:
    Options m_options;
    std::shared_ptr<CookieSession> m_cookies;
};
