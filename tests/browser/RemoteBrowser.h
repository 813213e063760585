#pragma once

#include <QHash>
#include <QJsonObject>
#include <QJsonValue>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <optional>

class QTcpSocket;

// A real Chromium or Firefox, headless, in a throw-away home folder, with the
// Pellmora extension and host installed there by scripts/install-browser-host.
// What it shows is read through the browser's own debugging interface
// (Chromium's /json/list, Firefox's Marionette), never through the extension.
class RemoteBrowser
{
public:
    enum class Kind { chromium, firefox };

    RemoteBrowser(Kind kind, QString installScript, QString hostBinary);
    ~RemoteBrowser();
    RemoteBrowser(const RemoteBrowser &) = delete;
    RemoteBrowser &operator=(const RemoteBrowser &) = delete;

    // The Debian command ("chromium", "firefox-esr"), its full path (empty
    // when it is not on PATH) and what it says its version is.
    static QString program(Kind kind);
    static QString executable(Kind kind);
    static QString version(Kind kind);

    // Installs the extension and host, then starts the browser on a blank
    // page. Empty on success, else why not.
    QString start();

    // The folders and environment Pellmora processes of the test share with
    // the browser's host: XDG_RUNTIME_DIR, XDG_DATA_HOME, …
    QHash<QString, QString> environment() const { return m_env; }
    QString socketPath() const;
    QString libraryPath() const;

    // Addresses of the pages open now, in no particular order; empty on error.
    QStringList openPages();
    // Waits until exactly `want` is open (compared as sorted lists).
    bool waitForPages(QStringList want, int waitMs = 20000);

    QString log() const;

private:
    QString startChromium();
    QString startFirefox();
    QStringList chromiumPages();
    QStringList firefoxPages();
    std::optional<QJsonValue> marionette(const QString &command, const QJsonObject &params);

    Kind m_kind;
    QString m_installScript;
    QString m_hostBinary;
    QTemporaryDir m_home;
    QHash<QString, QString> m_env;
    QProcess m_process;
    quint16 m_debugPort = 0;
    std::unique_ptr<QTcpSocket> m_marionette;
    QByteArray m_marionetteBuffer;
    int m_nextCommand = 0;
};
