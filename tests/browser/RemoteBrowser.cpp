#include "RemoteBrowser.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>

#include <algorithm>

#include <sys/stat.h>

namespace {

const QString extensionId = QStringLiteral("browser@pellmora.app");

// Browser-internal pages say nothing about what the test opened.
bool isBlank(const QString &url)
{
    return url.isEmpty() || url == QStringLiteral("about:blank") || url.startsWith(QStringLiteral("chrome://"))
           || url.startsWith(QStringLiteral("about:")) || url.startsWith(QStringLiteral("chrome-extension://"))
           || url.startsWith(QStringLiteral("moz-extension://"));
}

quint16 freePort()
{
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost, 0))
        return 0;
    return probe.serverPort();
}

// Everything that could reach past this machine goes to a closed local port;
// addresses on 127.0.0.1 and localhost are never proxied.
const char *firefoxPrefs = R"(user_pref("xpinstall.signatures.required", false);
user_pref("extensions.autoDisableScopes", 0);
user_pref("extensions.enabledScopes", 15);
user_pref("browser.shell.checkDefaultBrowser", false);
user_pref("browser.startup.page", 0);
user_pref("browser.startup.homepage_override.mstone", "ignore");
user_pref("browser.aboutwelcome.enabled", false);
user_pref("browser.tabs.warnOnClose", false);
user_pref("browser.warnOnQuit", false);
user_pref("datareporting.policy.dataSubmissionEnabled", false);
user_pref("datareporting.healthreport.uploadEnabled", false);
user_pref("toolkit.telemetry.enabled", false);
user_pref("app.update.enabled", false);
user_pref("app.normandy.enabled", false);
user_pref("extensions.update.enabled", false);
user_pref("extensions.getAddons.cache.enabled", false);
user_pref("browser.safebrowsing.malware.enabled", false);
user_pref("browser.safebrowsing.phishing.enabled", false);
user_pref("network.captive-portal-service.enabled", false);
user_pref("network.connectivity-service.enabled", false);
user_pref("network.proxy.type", 1);
user_pref("network.proxy.http", "127.0.0.1");
user_pref("network.proxy.http_port", 9);
user_pref("network.proxy.ssl", "127.0.0.1");
user_pref("network.proxy.ssl_port", 9);
)";

} // namespace

RemoteBrowser::RemoteBrowser(Kind kind, QString installScript, QString hostBinary)
    : m_kind(kind), m_installScript(std::move(installScript)), m_hostBinary(std::move(hostBinary))
{
    const QString home = m_home.path();
    m_env = {
        {"HOME", home},
        {"XDG_CONFIG_HOME", home + "/.config"},
        {"XDG_DATA_HOME", home + "/.local/share"},
        {"XDG_CACHE_HOME", home + "/.cache"},
        {"XDG_RUNTIME_DIR", home + "/run"},
    };
}

RemoteBrowser::~RemoteBrowser()
{
    if (m_marionette)
        m_marionette->abort();
    if (m_process.state() != QProcess::NotRunning) {
        m_process.terminate();
        if (!m_process.waitForFinished(10000)) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
    }
}

QString RemoteBrowser::program(Kind kind)
{
    return kind == Kind::chromium ? QStringLiteral("chromium") : QStringLiteral("firefox-esr");
}

QString RemoteBrowser::executable(Kind kind)
{
    return QStandardPaths::findExecutable(program(kind));
}

QString RemoteBrowser::version(Kind kind)
{
    QProcess process;
    process.start(executable(kind), {"--version"});
    if (!process.waitForFinished(20000))
        return program(kind) + QStringLiteral(" (no version)");
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

QString RemoteBrowser::socketPath() const
{
    return m_env.value("XDG_RUNTIME_DIR") + "/pellmora/browser.sock";
}

QString RemoteBrowser::libraryPath() const
{
    return m_env.value("XDG_DATA_HOME") + "/Pellmora/library.json";
}

QString RemoteBrowser::log() const
{
    QFile file(m_home.path() + "/browser.log");
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray all = file.readAll();
    return QString::fromUtf8(all.right(4000));
}

QString RemoteBrowser::start()
{
    if (!m_home.isValid())
        return QStringLiteral("no temporary folder");
    if (::mkdir(QFile::encodeName(m_env.value("XDG_RUNTIME_DIR")).constData(), 0700) != 0)
        return QStringLiteral("no runtime folder");

    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (auto it = m_env.cbegin(); it != m_env.cend(); ++it)
        env.insert(it.key(), it.value());
    // Browsers must not find the session bus of whoever runs the tests.
    env.remove("DBUS_SESSION_BUS_ADDRESS");

    QProcess install;
    install.setProcessEnvironment(env);
    install.start(m_installScript, {m_hostBinary});
    if (!install.waitForFinished(30000) || install.exitStatus() != QProcess::NormalExit || install.exitCode() != 0)
        return QStringLiteral("install-browser-host failed: ") + QString::fromUtf8(install.readAllStandardError());

    m_process.setProcessEnvironment(env);
    m_process.setStandardOutputFile(m_home.path() + "/browser.log");
    m_process.setStandardErrorFile(m_home.path() + "/browser.log", QIODevice::Append);
    return m_kind == Kind::chromium ? startChromium() : startFirefox();
}

QString RemoteBrowser::startChromium()
{
    const QString profile = m_env.value("XDG_CONFIG_HOME") + "/chromium";
    const QString extension = m_env.value("XDG_DATA_HOME") + "/Pellmora/browser/extension";
    m_process.start(executable(Kind::chromium),
                    {"--headless=new", "--no-sandbox", "--user-data-dir=" + profile, "--load-extension=" + extension,
                     "--remote-debugging-port=0", "--remote-allow-origins=*", "--no-first-run",
                     "--no-default-browser-check", "--disable-background-networking", "--disable-component-update",
                     "--disable-sync", "--disable-dev-shm-usage", "--proxy-server=http://127.0.0.1:9", "about:blank"});
    if (!m_process.waitForStarted(10000))
        return QStringLiteral("chromium did not start");
    // Chromium writes the port it picked into its profile.
    QDeadlineTimer deadline(30000);
    while (!deadline.hasExpired()) {
        QFile file(profile + "/DevToolsActivePort");
        if (file.open(QIODevice::ReadOnly)) {
            m_debugPort = quint16(file.readLine().trimmed().toUInt());
            if (m_debugPort != 0)
                return {};
        }
        if (m_process.state() == QProcess::NotRunning)
            return QStringLiteral("chromium ended: ") + log();
        QThread::msleep(100);
    }
    return QStringLiteral("chromium opened no debugging port: ") + log();
}

QString RemoteBrowser::startFirefox()
{
    const QString profile = m_home.path() + "/firefox-profile";
    m_debugPort = freePort();
    if (m_debugPort == 0 || !QDir().mkpath(profile + "/extensions"))
        return QStringLiteral("no port or profile folder");
    QFile prefs(profile + "/user.js");
    if (!prefs.open(QIODevice::WriteOnly))
        return QStringLiteral("cannot write user.js");
    prefs.write(firefoxPrefs);
    prefs.write(QStringLiteral("user_pref(\"marionette.port\", %1);\n").arg(m_debugPort).toUtf8());
    prefs.close();
    // An add-on file named after its id in the profile's extensions folder is
    // installed at start; unsigned ones only because of the pref above.
    const QString xpi = m_env.value("XDG_DATA_HOME") + "/Pellmora/browser/pellmora.xpi";
    if (!QFile::copy(xpi, profile + "/extensions/" + extensionId + ".xpi"))
        return QStringLiteral("installed add-on file missing: ") + xpi;

    m_process.start(executable(Kind::firefox), {"--headless", "--no-remote", "--profile", profile, "--marionette",
                                                "--remote-allow-system-access", "about:blank"});
    if (!m_process.waitForStarted(10000))
        return QStringLiteral("firefox did not start");

    QDeadlineTimer deadline(40000);
    while (!deadline.hasExpired()) {
        m_marionette = std::make_unique<QTcpSocket>();
        m_marionette->connectToHost(QHostAddress::LocalHost, m_debugPort);
        if (m_marionette->waitForConnected(1000))
            break;
        m_marionette.reset();
        if (m_process.state() == QProcess::NotRunning)
            return QStringLiteral("firefox ended: ") + log();
        QThread::msleep(200);
    }
    if (!m_marionette)
        return QStringLiteral("firefox opened no Marionette port: ") + log();
    // The greeting, then a session whose scripts run with the browser's rights.
    if (!marionette({}, {}))
        return QStringLiteral("no Marionette greeting");
    if (!marionette("WebDriver:NewSession", {}))
        return QStringLiteral("no Marionette session");
    if (!marionette("Marionette:SetContext", {{"value", "chrome"}}))
        return QStringLiteral("Marionette refused the chrome context");
    return {};
}

// Marionette frames are "<length>:<json>". An empty command only reads the
// greeting.
std::optional<QJsonValue> RemoteBrowser::marionette(const QString &command, const QJsonObject &params)
{
    if (!command.isEmpty()) {
        const QByteArray body =
            QJsonDocument(QJsonArray{0, ++m_nextCommand, command, params}).toJson(QJsonDocument::Compact);
        m_marionette->write(QByteArray::number(body.size()) + ':' + body);
        if (!m_marionette->waitForBytesWritten(5000))
            return std::nullopt;
    }
    QDeadlineTimer deadline(15000);
    while (!deadline.hasExpired()) {
        const qsizetype colon = m_marionetteBuffer.indexOf(':');
        if (colon > 0) {
            const qsizetype length = m_marionetteBuffer.left(colon).toLongLong();
            if (m_marionetteBuffer.size() >= colon + 1 + length) {
                const QJsonDocument doc = QJsonDocument::fromJson(m_marionetteBuffer.mid(colon + 1, length));
                m_marionetteBuffer.remove(0, colon + 1 + length);
                if (command.isEmpty())
                    return QJsonValue(doc.object());
                const QJsonArray reply = doc.array();
                if (reply.size() != 4 || reply.at(1).toInt() != m_nextCommand)
                    continue;
                if (!reply.at(2).isNull()) {
                    qWarning() << "Marionette" << command << reply.at(2);
                    return std::nullopt;
                }
                return reply.at(3);
            }
        }
        if (!m_marionette->waitForReadyRead(int(deadline.remainingTime())))
            break;
        m_marionetteBuffer += m_marionette->readAll();
    }
    return std::nullopt;
}

QStringList RemoteBrowser::firefoxPages()
{
    static const QString script = QStringLiteral(R"(
        const out = [];
        for (const w of Services.wm.getEnumerator("navigator:browser"))
            for (const t of w.gBrowser.tabs)
                out.push(t.linkedBrowser.currentURI.asciiSpec);
        return out;)");
    const std::optional<QJsonValue> reply =
        marionette("WebDriver:ExecuteScript", {{"script", script}, {"args", QJsonArray{}}});
    QStringList pages;
    if (!reply)
        return pages;
    for (const QJsonValue &url : reply->toObject().value("value").toArray())
        pages.append(url.toString());
    return pages;
}

QStringList RemoteBrowser::chromiumPages()
{
    QNetworkAccessManager manager;
    QNetworkReply *reply =
        manager.get(QNetworkRequest(QUrl(QStringLiteral("http://127.0.0.1:%1/json/list").arg(m_debugPort))));
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(5000, &loop, &QEventLoop::quit);
    loop.exec();
    QStringList pages;
    if (reply->isFinished() && reply->error() == QNetworkReply::NoError) {
        for (const QJsonValue &target : QJsonDocument::fromJson(reply->readAll()).array()) {
            const QJsonObject t = target.toObject();
            if (t.value("type").toString() == QStringLiteral("page"))
                pages.append(t.value("url").toString());
        }
    }
    reply->abort();
    reply->deleteLater();
    return pages;
}

QStringList RemoteBrowser::openPages()
{
    QStringList pages = m_kind == Kind::chromium ? chromiumPages() : firefoxPages();
    pages.removeIf(isBlank);
    return pages;
}

bool RemoteBrowser::waitForPages(QStringList want, int waitMs)
{
    std::sort(want.begin(), want.end());
    QDeadlineTimer deadline(waitMs);
    do {
        QStringList open = openPages();
        std::sort(open.begin(), open.end());
        if (open == want)
            return true;
        QThread::msleep(200);
    } while (!deadline.hasExpired());
    return false;
}
