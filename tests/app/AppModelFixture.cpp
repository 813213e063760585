#include "AppModelFixture.h"

#include "Embedder.h"

AppModelFixture::AppModelFixture()
    : m_library(LibraryStore(m_dir.filePath(QStringLiteral("library.json"))))
    , m_settings(std::make_shared<QSettings>(m_dir.filePath(QStringLiteral("settings.ini")), QSettings::IniFormat))
{
}

AppModel &AppModelFixture::model()
{
    if (!m_model) {
        AppModel::Services services;
        services.library = &m_library;
        services.embedder = std::make_shared<Embedder>(false);
        services.bridge = m_bridge;
        services.clock = &m_clock;
        services.settings = m_settings;
        services.autostartFolder = path(QStringLiteral("autostart"));
        services.aiAvailable = [] { return false; };
        services.notifications = m_notifications;
        m_model = std::make_unique<AppModel>(std::move(services));
    }
    return *m_model;
}

SafariWindow AppModelFixture::window(int index, const QStringList &urls)
{
    SafariWindow window{index, {}};
    for (const QString &url : urls)
        window.tabs.append({QStringLiteral("Seite ") + url.section(QLatin1Char('/'), -1), url, int(window.tabs.size()) + 1});
    return window;
}
