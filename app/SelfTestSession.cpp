#include "SelfTestSession.h"

#include <QDir>
#include <QQmlEngine>
#include <QSettings>
#include <QThreadPool>

#include "AppModel.h"
#include "AppModelForeign.h"
#include "BrowserHub.h"
#include "Embedder.h"
#include "ExtensionBridge.h"
#include "Library.h"
#include "LibraryStore.h"
#include "QmlModule.h"
#include "SelfTestSupport.h"
#include "EmbedderFactory.h"

SelfTestSession::SelfTestSession(QString folder) : m_folder(std::move(folder)) {}

Result<std::unique_ptr<SelfTestSession>> SelfTestSession::create(const QString &prefix)
{
    Result<QString> folder = SelfTestSupport::makeSandbox(prefix);
    if (!folder)
        return Result<std::unique_ptr<SelfTestSession>>::failure(folder.error());
    std::unique_ptr<SelfTestSession> session(new SelfTestSession(*folder));
    const QDir dir(session->m_folder);

    // Never started: a self-test must not take the running application's
    // browser socket, and demo runs read no browser.
    session->m_hub = std::make_unique<BrowserHub>(dir.filePath(QStringLiteral("browser.sock")));
    BrowserHub *hub = session->m_hub.get();
    session->m_settings = std::make_shared<QSettings>(dir.filePath(QStringLiteral("settings.ini")),
                                                      QSettings::IniFormat);
    session->m_library = std::make_unique<Library>(LibraryStore(session->libraryPath()));
    session->m_embedder = EmbedderFactory::create();

    AppModel::Services services;
    services.library = session->m_library.get();
    services.embedder = session->m_embedder;
    services.bridge = std::make_shared<ExtensionBridge>(hub);
    services.settings = session->m_settings;
    // The self-tests never change the login item; should one try, it stays here.
    services.autostartFolder = dir.filePath(QStringLiteral("autostart"));
    session->m_model = std::make_unique<AppModel>(std::move(services));
    return session;
}

SelfTestSession::~SelfTestSession()
{
    close();
}

QString SelfTestSession::libraryPath() const
{
    return QDir(m_folder).filePath(QStringLiteral("library.json"));
}

QQmlEngine &SelfTestSession::engine()
{
    if (!m_engine) {
        // The views find the model as their singleton, as in the application.
        AppModelForeign::setInstance(m_model.get());
        m_engine = std::make_unique<QQmlEngine>();
        QmlModule::prepare(*m_engine);
    }
    return *m_engine;
}

bool SelfTestSession::close()
{
    if (m_closed)
        return !QDir(m_folder).exists();
    m_closed = true;
    if (m_model && m_model->isSleepRunning())
        m_model->cancelSleep();
    // Work still under way on the pool writes into the sandbox; it ends
    // before the folder goes.
    QThreadPool::globalInstance()->waitForDone();
    m_engine.reset();
    m_model.reset();
    m_library.reset();
    m_embedder.reset();
    m_settings.reset();
    m_hub.reset();
    return QDir(m_folder).removeRecursively();
}
