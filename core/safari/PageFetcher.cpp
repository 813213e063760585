#include "PageFetcher.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <mutex>
#include <vector>

#include <QEventLoop>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QNetworkCookie>
#include <QNetworkCookieJar>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QStringDecoder>
#include <QTimer>
#include <QUrl>

#include "WebAddress.h"

#include "TextTools.h"

Q_LOGGING_CATEGORY(lcFetch, "pellmora.safari.fetch")

namespace {

// The network manager's view of the fetcher's cookies: every batch has a
// manager of its own on its own thread, and all of them share the session.
class SessionJar final : public QNetworkCookieJar
{
public:
    SessionJar(std::shared_ptr<PageFetcher::CookieSession> session, QObject *parent)
        : QNetworkCookieJar(parent)
        , m_session(std::move(session))
    {
    }
    QList<QNetworkCookie> cookiesForUrl(const QUrl &url) const override
    {
        std::lock_guard lock(m_session->mutex);
        return m_session->jar.cookiesForUrl(url);
    }
    bool setCookiesFromUrl(const QList<QNetworkCookie> &cookies, const QUrl &url) override
    {
        std::lock_guard lock(m_session->mutex);
        return m_session->jar.setCookiesFromUrl(cookies, url);
    }

private:
    std::shared_ptr<PageFetcher::CookieSession> m_session;
};

bool fetchable(const QUrl &url)
{
    if (!url.isValid())
        return false;
    const QString scheme = url.scheme().toLower();
    return scheme == QLatin1String("http") || scheme == QLatin1String("https");
}

// Unique addresses in ascending code-point order (QString's own order compares
// UTF-16 units, which differs beyond the basic plane).
QStringList uniqueSorted(const QStringList &addresses)
{
    std::vector<std::pair<QList<uint>, QString>> keyed;
    keyed.reserve(size_t(addresses.size()));
    for (const QString &a : addresses)
        keyed.emplace_back(a.toUcs4(), a);
    std::sort(keyed.begin(), keyed.end(), [](const auto &l, const auto &r) { return l.first < r.first; });
    keyed.erase(std::unique(keyed.begin(), keyed.end(),
                            [](const auto &l, const auto &r) { return l.first == r.first; }),
                keyed.end());
    QStringList out;
    out.reserve(qsizetype(keyed.size()));
    for (auto &k : keyed)
        out.append(std::move(k.second));
    return out;
}

// One fetchAll call: the queue, the running requests and the collected texts.
// Lives on the calling thread and runs its own event loop.
class Batch
{
public:
    Batch(const PageFetcher::Options &options, std::shared_ptr<PageFetcher::CookieSession> cookies,
          QStringList addresses, const PageFetcher::Progress &progress, std::stop_token stop)
        : m_options(options)
        , m_addresses(std::move(addresses))
        , m_progress(progress)
        , m_stop(std::move(stop))
    {
        m_manager.setCookieJar(new SessionJar(std::move(cookies), &m_manager));
    }

    QHash<QString, QString> run()
    {
        if (m_stop.stop_requested())
            return {};
        pump();
        if (!m_running.empty()) {
            QTimer watch;
            watch.setInterval(std::chrono::milliseconds(50));
            QObject::connect(&watch, &QTimer::timeout, &m_loop, [this] {
                if (m_stop.stop_requested())
                    cancel();
            });
            watch.start();
            m_loop.exec();
        }
        return m_texts;
    }

private:
    struct Job
    {
        QString address;
        QNetworkReply *reply = nullptr; // owns the transfer timer
    };

    void pump()
    {
        if (!m_cancelled && m_stop.stop_requested()) {
            cancel();
            return;
        }
        const int maxConcurrent = std::max(1, m_options.maxConcurrent);
        while (!m_cancelled && int(m_running.size()) < maxConcurrent && m_next < m_addresses.size()) {
            const QString address = m_addresses.at(m_next++);
            if (!start(address))
                finish(address, QString());
        }
        if (m_running.empty() && (m_cancelled || m_next >= m_addresses.size()))
            m_loop.quit();
    }

    bool start(const QString &address)
    {
        const QUrl url = WebAddress::parse(address);
        if (!fetchable(url))
            return false;

        auto job = std::make_unique<Job>();
        job->address = address;

        QNetworkRequest request(url);
        request.setRawHeader("User-Agent", PageFetcher::userAgent);
        request.setRawHeader("Accept-Language", PageFetcher::acceptLanguage);
        request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
        request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
        request.setTransferTimeout(int(m_options.timeout * 1000));

        QNetworkReply *reply = m_manager.get(request);
        job->reply = reply;
        auto *whole = new QTimer(reply);
        whole->setSingleShot(true);
        QObject::connect(whole, &QTimer::timeout, reply, &QNetworkReply::abort);
        whole->start(std::chrono::milliseconds(qint64(m_options.transferTimeout * 1000)));
        QObject::connect(reply, &QNetworkReply::finished, &m_loop, [this, reply] { finished(reply); });

        m_running.push_back(std::move(job));
        return true;
    }

    void finished(QNetworkReply *reply)
    {
        auto it = std::find_if(m_running.begin(), m_running.end(),
                               [reply](const auto &job) { return job->reply == reply; });
        if (it == m_running.end())
            return;
        std::unique_ptr<Job> job = std::move(*it);
        m_running.erase(it);
        // Not inside its own signal: the reply goes at the next quiet moment.
        reply->deleteLater();

        if (m_cancelled) {
            pump();
            return;
        }
        finish(job->address, textOf(reply));
        pump();
    }

    QString textOf(QNetworkReply *reply) const
    {
        if (reply->error() != QNetworkReply::NoError) {
            qCDebug(lcFetch) << "fetch failed:" << reply->url() << reply->errorString();
            return {};
        }
        const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        if (status < 200 || status > 399)
            return {};
        const QString contentType = QString::fromLatin1(reply->rawHeader("Content-Type")).toLower();
        if (!contentType.isEmpty() && !contentType.contains(QLatin1String("html"))
            && !contentType.contains(QLatin1String("text")))
            return {};
        const QString html = PageFetcher::decode(reply->readAll(), contentType);
        return TextTools::readableText(html, m_options.limit).text;
    }

    void finish(const QString &address, const QString &text)
    {
        m_texts.insert(address, text);
        ++m_done;
        if (m_progress)
            m_progress(m_done, int(m_addresses.size()));
    }

    void cancel()
    {
        if (m_cancelled)
            return;
        m_cancelled = true;
        std::vector<QNetworkReply *> replies;
        for (const auto &job : m_running)
            replies.push_back(job->reply);
        // abort() delivers finished() at once, which removes the job.
        for (QNetworkReply *reply : replies)
            reply->abort();
        pump();
    }

    const PageFetcher::Options m_options;
    const QStringList m_addresses;
    const PageFetcher::Progress &m_progress;
    const std::stop_token m_stop;

    QEventLoop m_loop;
    // One session per batch; its replies are its children.
    QNetworkAccessManager m_manager;
    std::vector<std::unique_ptr<Job>> m_running;
    QHash<QString, QString> m_texts;
    qsizetype m_next = 0;
    int m_done = 0;
    bool m_cancelled = false;
};

} // namespace

PageFetcher::PageFetcher()
    : m_cookies(std::make_shared<CookieSession>())
{
}

PageFetcher::PageFetcher(const Options &options)
    : m_options(options)
    , m_cookies(std::make_shared<CookieSession>())
{
    Q_ASSERT(options.maxConcurrent >= 1);
}

QString PageFetcher::fetchText(const QString &address, std::stop_token stop) const
{
    return fetchAll({address}, {}, std::move(stop)).value(address);
}

QHash<QString, QString> PageFetcher::fetchAll(const QStringList &addresses, const Progress &progress,
                                              std::stop_token stop) const
{
    Batch batch(m_options, m_cookies, uniqueSorted(addresses), progress, std::move(stop));
    return batch.run();
}

QString PageFetcher::decode(const QByteArray &body, const QString &contentType)
{
    if (contentType.contains(QLatin1String("iso-8859")) || contentType.contains(QLatin1String("latin1"))
        || contentType.contains(QLatin1String("windows-1252")))
        return QString::fromLatin1(body);
    // Stateless, so a sequence cut off at the end counts as invalid.
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(body);
    if (!utf8.hasError())
        return text;
    // Latin-1 maps every byte, so the replacement-character fallback is never needed.
    return QString::fromLatin1(body);
}
