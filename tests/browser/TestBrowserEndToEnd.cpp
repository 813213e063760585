#include <QDeadlineTimer>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <memory>
#include <optional>

#include "BrowserHub.h"
#include "CliHome.h"
#include "ExtensionBridge.h"
#include "LibraryStore.h"
#include "LocalHttpServer.h"
#include "TestRegistry.h"

using namespace std::chrono_literals;

namespace {

// Everything that could reach past this machine goes to a closed local port
// (127.0.0.1 and localhost are never proxied).
const char *firefoxPrefs = R"(user_pref("xpinstall.signatures.required", false);
user_pref("extensions.autoDisableScopes", 0);
user_pref("extensions.enabledScopes", 15);
user_pref("marionette.port", 0);
user_pref("datareporting.policy.dataSubmissionEnabled", false);
user_pref("network.proxy.type", 1);
user_pref("network.proxy.http", "127.0.0.1");
user_pref("network.proxy.http_port", 9);
user_pref("network.proxy.ssl", "127.0.0.1");
user_pref("network.proxy.ssl_port", 9);
)";

// A real Chromium or Firefox, headless, in a throw-away home, with the
// extension and host installed there by scripts/install-browser-host. What it
// shows is read through its own debugging interface (Chromium's /json/list,
// Firefox's Marionette), never through the extension.
class RemoteBrowser
{
public:
    explicit RemoteBrowser(bool firefox) : m_firefox(firefox)
    {
        for (const auto &[name, folder] : {std::pair{"HOME", ""}, {"XDG_CONFIG_HOME", "/.config"}, {"XDG_DATA_HOME", "/.local/share"},
                                           {"XDG_CACHE_HOME", "/.cache"}, {"XDG_RUNTIME_DIR", "/run"}, {"TMPDIR", "/tmp"}})
            QDir().mkpath(*m_env.insert(name, m_home.path() + folder));
    }
    ~RemoteBrowser()
    {
        m_process.terminate();
        if (!m_process.waitForFinished(10000))
            m_process.kill();
        m_process.waitForFinished(5000);
    }

    static QString program(bool firefox) { return firefox ? "firefox-esr" : "chromium"; }
    QHash<QString, QString> environment() const { return m_env; }
    QString socketPath() const { return m_env.value("XDG_RUNTIME_DIR") + "/pellmora/browser.sock"; }
    QString libraryPath() const { return m_env.value("XDG_DATA_HOME") + "/Pellmora/library.json"; }
    QString log() const { return QString::fromUtf8(TestSupport::readFile(m_home.path() + "/browser.log").right(4000)); }

    // Installs the extension and host, then starts the browser on a blank
    // page. Empty on success, else why not.
    QString start()
    {
        const QString data = m_env.value("XDG_DATA_HOME") + "/Pellmora/browser";
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (auto it = m_env.cbegin(); it != m_env.cend(); ++it)
            env.insert(it.key(), it.value());
        env.remove("DBUS_SESSION_BUS_ADDRESS"); // never the session bus of whoever runs the tests
        QProcess install;
        install.setProcessEnvironment(env);
        install.start(QStringLiteral(PELLMORA_INSTALL_SCRIPT), {QStringLiteral(PELLMORA_BROWSER_HOST)});
        if (!install.waitForFinished(30000) || install.exitCode() != 0)
            return "install-browser-host failed: " + QString::fromUtf8(install.readAllStandardError());

        QString profile = m_env.value("XDG_CONFIG_HOME") + "/chromium", portFile = profile + "/DevToolsActivePort";
        QStringList args{"--headless=new", "--no-sandbox", "--user-data-dir=" + profile, "--load-extension=" + data + "/extension",
                         "--remote-debugging-port=0", "--remote-allow-origins=*", "--no-first-run", "--disable-sync",
                         "--disable-background-networking", "--disable-component-update", "--disable-dev-shm-usage",
                         "--proxy-server=http://127.0.0.1:9"};
        if (m_firefox) {
            profile = m_home.path() + "/firefox";
            portFile = profile + "/MarionetteActivePort";
            args = {"--headless", "--no-remote", "--profile", profile, "--marionette", "--remote-allow-system-access"};
            // An add-on file named after its id in the profile is installed at start.
            if (!TestSupport::writeFile(profile + "/user.js", firefoxPrefs) || !QDir().mkpath(profile + "/extensions")
                || !QFile::copy(data + "/pellmora.xpi", profile + "/extensions/browser@pellmora.app.xpi"))
                return "no Firefox profile";
        }
        m_process.setProcessEnvironment(env);
        m_process.setStandardOutputFile(m_home.path() + "/browser.log");
        m_process.setStandardErrorFile(m_home.path() + "/browser.log", QIODevice::Append);
        m_process.start(QStandardPaths::findExecutable(program(m_firefox)), args << "about:blank");
        // Both write the port they picked into the profile.
        for (QDeadlineTimer deadline(40000); m_port == 0; QThread::msleep(100)) {
            m_port = quint16(TestSupport::readFile(portFile).split('\n').first().toUInt());
            if (m_port == 0 && (deadline.hasExpired() || m_process.state() == QProcess::NotRunning))
                return "no debugging port: " + log();
        }
        // Marionette's greeting, then a session whose scripts run with the browser's rights.
        if (m_firefox) {
            m_marionette.connectToHost(QHostAddress::LocalHost, m_port);
            if (!m_marionette.waitForConnected(5000) || !marionette({}, {}) || !marionette("WebDriver:NewSession", {})
                || !marionette("Marionette:SetContext", {{"value", "chrome"}}))
                return "no Marionette session: " + log();
        }
        return {};
    }

    // Addresses of the pages open now, browser pages left out.
    QStringList openPages()
    {
        QStringList pages = m_firefox ? firefoxPages() : chromiumPages();
        pages.removeIf([](const QString &url) {
            return url.isEmpty() || url.startsWith("about:") || url.startsWith("chrome") || url.startsWith("moz-extension:");
        });
        pages.sort();
        return pages;
    }

    bool waitForPages(QStringList want)
    {
        want.sort();
        for (QDeadlineTimer deadline(20000); !deadline.hasExpired(); QThread::msleep(200))
            if (openPages() == want)
                return true;
        return false;
    }

private:
    // Marionette frames are "<length>:<json>"; an empty command only reads the greeting.
    std::optional<QJsonValue> marionette(const QString &command, const QJsonObject &params)
    {
        if (!command.isEmpty()) {
            const QByteArray body = QJsonDocument(QJsonArray{0, ++m_command, command, params}).toJson(QJsonDocument::Compact);
            m_marionette.write(QByteArray::number(body.size()) + ':' + body);
        }
        for (QDeadlineTimer deadline(15000); !deadline.hasExpired();) {
            const qsizetype colon = m_buffer.indexOf(':');
            const qsizetype length = colon > 0 ? m_buffer.left(colon).toLongLong() : -1;
            if (length < 0 || m_buffer.size() < colon + 1 + length) {
                if (!m_marionette.waitForReadyRead(int(deadline.remainingTime())))
                    break;
                m_buffer += m_marionette.readAll();
                continue;
            }
            const QJsonDocument doc = QJsonDocument::fromJson(m_buffer.mid(colon + 1, length));
            m_buffer.remove(0, colon + 1 + length);
            if (command.isEmpty())
                return QJsonValue(doc.object());
            const QJsonArray reply = doc.array();
            if (reply.size() == 4 && reply.at(1).toInt() == m_command)
                return reply.at(2).isNull() ? std::optional(reply.at(3)) : std::nullopt;
        }
        return std::nullopt;
    }

    QStringList firefoxPages()
    {
        const char *script = R"(const out = [];
            for (const w of Services.wm.getEnumerator("navigator:browser"))
                for (const t of w.gBrowser.tabs)
                    out.push(t.linkedBrowser.currentURI.asciiSpec);
            return out;)";
        QStringList pages;
        const auto reply = marionette("WebDriver:ExecuteScript", {{"script", script}, {"args", QJsonArray{}}});
        for (const QJsonValue &url : reply.value_or(QJsonValue()).toObject().value("value").toArray())
            pages.append(url.toString());
        return pages;
    }

    QStringList chromiumPages()
    {
        QTcpSocket http;
        http.connectToHost(QHostAddress::LocalHost, m_port);
        http.write("GET /json/list HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
        QByteArray answer;
        QJsonDocument targets;
        while (!targets.isArray() && http.waitForReadyRead(5000)) {
            answer += http.readAll();
            targets = QJsonDocument::fromJson(answer.mid(answer.indexOf("\r\n\r\n") + 4));
        }
        QStringList pages;
        for (const QJsonValue &target : targets.array())
            if (target["type"].toString() == u"page")
                pages.append(target["url"].toString());
        return pages;
    }

    bool m_firefox;
    QTemporaryDir m_home;
    QHash<QString, QString> m_env;
    QProcess m_process;
    quint16 m_port = 0;
    QTcpSocket m_marionette;
    QByteArray m_buffer;
    int m_command = 0;
};

} // namespace

// The whole way from Pellmora through the host and the extension into a real
// headless browser and back: pages opened through the bridge, put to sleep
// with pellmora-cli sleep.
class TestBrowserEndToEnd : public QObject
{
    Q_OBJECT

private slots:
    void throughTheBrowser_data()
    {
        QTest::addColumn<bool>("firefox");
        QTest::newRow("chromium") << false;
        QTest::newRow("firefox") << true;
    }

    void throughTheBrowser()
    {
        QFETCH(bool, firefox);
        // Only a missing browser skips; one that is there but fails to start fails.
        if (QStandardPaths::findExecutable(RemoteBrowser::program(firefox)).isEmpty())
            QSKIP(qPrintable(RemoteBrowser::program(firefox) + " is not on PATH; scripts/install-deps installs it"));

        LocalHttpServer server;
        server.setHandler([](const LocalHttpServer::Request &request) {
            const QByteArray name = request.path.mid(1);
            return LocalHttpServer::page("<!doctype html><title>Seite " + name + "</title><p>" + name + "</p>");
        });
        // "localhost" is the pinned domain; the other pages are on 127.0.0.1.
        const QString pinned = QStringLiteral("http://localhost:%1/pinned").arg(server.port());
        const QStringList first{server.address("/a"), pinned};
        const QStringList second{server.address("/b"), server.address("/c"), server.address("/d")};
        const QStringList all = first + second;

        RemoteBrowser browser(firefox);
        const QString failed = browser.start();
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
        auto hub = std::make_unique<BrowserHub>(browser.socketPath());
        QVERIFY(hub->start());
        QVERIFY2(hub->waitForBrowsers(1, 40s), qPrintable(browser.log()));

        // Two windows of pages, opened through the extension itself.
        auto bridge = std::make_unique<ExtensionBridge>(hub.get());
        QVERIFY(bridge->reopen(QUrl::fromStringList(first), true));
        QVERIFY(bridge->reopen(QUrl::fromStringList(second), true));
        QVERIFY2(browser.waitForPages(all), qPrintable(browser.openPages().join(' ')));
        QCOMPARE(bridge->countTabs().value(), (SafariTabCount{6, 3})); // and the blank start window

        // Sleep from the command line: its own hub, so ours steps aside; the
        // hosts find the new one by themselves.
        CliHome cli;
        cli.setEnv(browser.environment());
        cli.setEnv("PELLMORA_BROWSER_WAIT_MS", "8000,300");
        bridge.reset();
        hub.reset();
        TestSupport::ProcessResult slept = cli.run({"sleep", "--keep-pinned", "LOCALHOST"});
        QVERIFY2(slept.exitCode == 0, qPrintable(slept.err + browser.log()));
        QVERIFY2(browser.waitForPages({pinned}), qPrintable(browser.openPages().join(' ')));

        // Every page once, in the window and at the position it had.
        const LibraryData library = LibraryStore(browser.libraryPath()).load();
        QCOMPARE(library.tabs.size(), all.size());
        QCOMPARE(library.windows.size(), 2);
        for (const SavedWindow &window : library.windows) {
            QStringList pages;
            for (const QUuid &id : window.tabIds) {
                const SavedTab tab = library.tab(id).value();
                QCOMPARE(tab.title, "Seite " + QUrl(tab.url).path().mid(1));
                QCOMPARE(tab.windowIndex, library.tab(window.tabIds.first())->windowIndex);
                QCOMPARE(tab.tabIndex, pages.size() + 1);
                pages.append(tab.url);
            }
            QVERIFY2(pages == first || pages == second, qPrintable(pages.join(' ')));
        }

        // Without the pinned domain the last tab closes too, the browser stays
        // open for the next time, and nothing is saved twice.
        slept = cli.run({"sleep", "--no-topics"});
        QVERIFY2(slept.exitCode == 0, qPrintable(slept.err));
        QVERIFY2(browser.waitForPages({}), qPrintable(browser.openPages().join(' ')));
        QCOMPARE(LibraryStore(browser.libraryPath()).load().tabs.size(), all.size());
        hub = std::make_unique<BrowserHub>(browser.socketPath());
        QVERIFY(hub->start());
        QVERIFY2(hub->waitForBrowsers(1, 20s), qPrintable(browser.log()));
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestBrowserEndToEnd)
#include "TestBrowserEndToEnd.moc"
