#include "AppModelFixture.h"

#include "Chat.h"
#include "Embedder.h"
#include "LibraryStore.h"

AppModelFixture::AppModelFixture()
    : m_library(std::make_unique<Library>(LibraryStore(m_dir.filePath(QStringLiteral("library.json")))))
    , m_embedder(std::make_shared<Embedder>(false))
    , m_bridge(std::make_shared<FakeBrowserBridge>())
    , m_settings(std::make_shared<QSettings>(m_dir.filePath(QStringLiteral("settings.ini")), QSettings::IniFormat))
{
}

AppModelFixture::~AppModelFixture()
{
    holdAnswers(false);
    m_model.reset();
}

AppModel &AppModelFixture::model()
{
    if (!m_model) {
        AppModel::Services services;
        services.library = m_library.get();
        services.embedder = m_embedder;
        services.bridge = m_bridgeOverride ? m_bridgeOverride : std::shared_ptr<BrowserBridge>(m_bridge);
        services.clock = &m_clock;
        services.settings = m_settings;
        services.autostartFolder = autostartFolder();
        if (!m_systemAIStatus)
            services.aiAvailable = [on = m_reportAIAvailable] { return on; };
        services.notifications = m_notifications;
        // The real chat, held back while the test wants to watch it work.
        services.answer = [gate = m_gate, chat = std::make_shared<const Chat>(m_embedder)](
                              const QString &question, const LibraryData &data) {
            {
                std::unique_lock lock(gate->mutex);
                gate->changed.wait(lock, [&] { return !gate->hold; });
                ++gate->given;
            }
            return chat->answer(question, data);
        };
        m_model = std::make_unique<AppModel>(std::move(services));
    }
    return *m_model;
}

void AppModelFixture::resetModel()
{
    m_model.reset();
}

void AppModelFixture::holdAnswers(bool hold)
{
    {
        std::lock_guard lock(m_gate->mutex);
        m_gate->hold = hold;
    }
    m_gate->changed.notify_all();
}

int AppModelFixture::answersGiven() const
{
    std::lock_guard lock(m_gate->mutex);
    return m_gate->given;
}

SavedTab AppModelFixture::tab(const QString &title, const QDateTime &savedAt, qint64 tabIndex, const QString &url)
{
    SavedTab tab;
    tab.id = QUuid::createUuid();
    tab.title = title;
    tab.url = url.isEmpty() ? QStringLiteral("https://example.org/") + title.toLower().replace(QLatin1Char(' '), QLatin1Char('-'))
                            : url;
    tab.domain = SavedTab::domainOf(tab.url);
    tab.savedAt = savedAt;
    tab.tabIndex = tabIndex;
    tab.windowIndex = 1;
    return tab;
}

SafariWindow AppModelFixture::window(int index, const QStringList &urls)
{
    SafariWindow window;
    window.index = index;
    int position = 0;
    for (const QString &url : urls)
        window.tabs.append({QStringLiteral("Seite ") + url.section(QLatin1Char('/'), -1), url, ++position});
    return window;
}
