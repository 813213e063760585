#include "AppModel.h"

#include <QCoreApplication>
#include <QFutureWatcher>
#include <QLoggingCategory>
#include <QSettings>
#include <QStandardPaths>
#include <QThread>
#include <QUrl>
#include <QtConcurrent>

#include <algorithm>

#include "AIStatus.h"
#include "BrowserBridge.h"
#include "BrowserHub.h"
#include "Chat.h"
#include "ChatModel.h"
#include "Clock.h"
#include "ContextReader.h"
#include "DemoData.h"
#include "Embedder.h"
#include "ExtensionBridge.h"
#include "FreedesktopNotifications.h"
#include "Fmt.h"
#include "HintEngine.h"
#include "LaunchAtLogin.h"
#include "Library.h"
#include "LibraryBackups.h"
#include "ModelConfig.h"
#include "PlatformWords.h"
#include "LiveLibraryAccess.h"
#include "Reminders.h"
#include "SearchIndex.h"
#include "SidebarModel.h"
#include "SleepPipeline.h"
#include "SleepRun.h"
#include "TabListModel.h"
#include "TopicClusterer.h"
#include "WebAddress.h"

Q_LOGGING_CATEGORY(lcAppModel, "pellmora.app.model")

namespace {

const QString kOptionsKey = SleepOptions::settingsKey();
const QString kConnectedKey = QStringLiteral("safariConnected");
const QString kDemoKey = QStringLiteral("demoMode");
const QString kRemindersSeenKey = QStringLiteral("remindersSeenUntil");

QVariantMap wordsFor(const QStringList &browsers, const QString &model)
{
    using namespace PlatformWords;
    return {
        {QStringLiteral("popoverTitle"), popoverTitle(browsers)},
        {QStringLiteral("demoBadge"), demoBadge(browsers)},
        {QStringLiteral("notConnectedTitle"), notConnectedTitle()},
        {QStringLiteral("notConnectedText"), notConnectedText()},
        {QStringLiteral("connectButton"), connectButton()},
        {QStringLiteral("libraryEmptyText"), libraryEmptyText()},
        {QStringLiteral("openButton"), openButton(browsers)},
        {QStringLiteral("pinnedExplanation"), pinnedExplanation()},
        {QStringLiteral("moonAfterRestart"), moonAfterRestart()},
        {QStringLiteral("chatIntroOn"), chatIntro(true, model)},
        {QStringLiteral("chatIntroOff"), chatIntro(false, model)},
    };
}

// Runs `work` on the thread pool and hands its result to `apply` on the
// context's thread; dropped when the context is gone by then.
template <typename Work, typename Apply>
void runThenApply(QObject *context, Work work, Apply apply)
{
    using T = std::invoke_result_t<Work>;
    auto *watcher = new QFutureWatcher<T>(context);
    QObject::connect(watcher, &QFutureWatcherBase::finished, context, [watcher, apply = std::move(apply)]() mutable {
        apply(watcher->result());
        watcher->deleteLater();
    });
    watcher->setFuture(QtConcurrent::run(std::move(work)));
}

TopicClusterer clustererFor(const std::shared_ptr<const Embedder> &embedder)
{
    return TopicClusterer(embedder, SleepPipeline::minSimilarity, SleepPipeline::outlierSimilarity,
                          SleepPipeline::mergeFloor);
}

void sortStandard(QList<SavedTab> &tabs)
{
    std::stable_sort(tabs.begin(), tabs.end(), [](const SavedTab &a, const SavedTab &b) {
        if (a.savedAt != b.savedAt)
            return a.savedAt > b.savedAt;
        return a.tabIndex < b.tabIndex;
    });
}

QVariant optionalInt(const std::optional<int> &value)
{
    return value ? QVariant(*value) : QVariant();
}

QVariant optionalText(const std::optional<QString> &value)
{
    return value ? QVariant(*value) : QVariant();
}

QString hintsNotice(qsizetype count)
{
    if (count == 0)
        return QStringLiteral("Keine neuen Hinweise: kein ungelesener Tab passt zu deinen Projekten.");
    return QString::number(count) + QStringLiteral(" neue Hinweise.");
}

} // namespace

// Background work the model must see finished before it goes away: the
// sleep run reaches back into the live library on the main thread.
struct AppModel::Work
{
    QFuture<SleepRun::Outcome> sleep;
    int pending = 0; // tasks whose result is still to be applied
};

AppModel::AppModel(Services services, QObject *parent)
    : QObject(parent)
    , m_library(services.library)
    , m_embedder(std::move(services.embedder))
    , m_bridge(std::move(services.bridge))
    , m_clock(services.clock ? services.clock : &Clock::system())
    , m_notifications(services.notifications)
    , m_settings(std::move(services.settings))
    , m_autostartFolder(std::move(services.autostartFolder))
    , m_searchDelayMs(services.searchDelayMs)
    , m_answer(services.answer ? std::move(services.answer) : defaultAnswerer(m_embedder))
    , m_work(std::make_unique<Work>())
    , m_chatModel(new ChatModel(this))
    , m_visibleTabs(new TabListModel(this))
    , m_sidebar(new SidebarModel(this))
{
    Q_ASSERT(m_library);
    Q_ASSERT(m_embedder);
    Q_ASSERT(m_bridge);
    if (!m_settings)
        m_settings = std::make_shared<QSettings>(QStringLiteral("Pellmora"), QStringLiteral("Pellmora"));
    m_index = std::make_shared<SearchIndex>(m_embedder);

    m_aiAvailable = services.aiAvailable ? services.aiAvailable() : AIStatus::isAvailable();
    m_launchAtLogin = LaunchAtLogin(m_autostartFolder).isEnabled();
    loadSettings();
    m_ownLibraryKept = LibraryBackups(m_library->store().filePath(), *m_clock).hasKept();

    if (m_bridge->connectsByItself()) {
        // The stored flag follows the extension, whatever a click said before.
        m_browsers = m_bridge->connectedNames();
        if (m_safariConnected != !m_browsers.isEmpty())
            setSafariConnected(!m_browsers.isEmpty());
    }
    m_words = wordsFor(m_browsers, ModelConfig::current().modelName);
    m_browserWatch.setInterval(1000);
    connect(&m_browserWatch, &QTimer::timeout, this, &AppModel::watchBrowsers);
    m_browserWatch.start();

    m_searchTimer.setSingleShot(true);
    m_searchTimer.setInterval(m_searchDelayMs);
    connect(&m_searchTimer, &QTimer::timeout, this, &AppModel::startSearch);

    connect(m_library, &Library::dataChanged, this, [this] {
        refreshLists();
        Q_EMIT libraryChanged();
        Q_EMIT remindersTodayChanged();
    });
    connect(m_library, &Library::lastErrorChanged, this, &AppModel::showSaveError);
    connect(this, &AppModel::selectionChanged, this, &AppModel::refreshLists);
    connect(this, &AppModel::queryChanged, this, &AppModel::refreshLists);
    connect(this, &AppModel::searchResultsChanged, this, &AppModel::refreshLists);

    if (!m_library->data().topics.isEmpty())
        m_selection = SidebarSelection::topic(m_library->data().topics.first().id);
    refreshLists();
}

AppModel::~AppModel()
{
    m_searchTimer.stop();
    ++m_searchGeneration;
    if (m_sleepStop)
        m_sleepStop->request_stop();
    // The run may be waiting for the library on this thread; let it through.
    while (m_work->sleep.isRunning())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

std::unique_ptr<AppModel> AppModel::createDefault(Library *library, std::shared_ptr<const Embedder> embedder,
                                                  QObject *parent)
{
    auto hub = std::make_shared<BrowserHub>();
    if (const Status started = hub->start(); !started)
        qCWarning(lcAppModel) << "browser connection not available:" << started.error();
    // The bridge keeps the hub alive for as long as anyone holds the bridge.
    std::shared_ptr<BrowserBridge> bridge(new ExtensionBridge(hub.get()),
                                          [hub](BrowserBridge *b) mutable {
                                              delete b;
                                              hub.reset();
                                          });
    Services services;
    services.library = library;
    services.embedder = embedder;
    services.bridge = std::move(bridge);
    auto model = std::make_unique<AppModel>(std::move(services), parent);
    auto *notifications = new FreedesktopNotifications(QDBusConnection::sessionBus(), Clock::system(), model.get());
    model->m_notifications = notifications;
    return model;
}

AppModel::Answerer AppModel::defaultAnswerer(std::shared_ptr<const Embedder> embedder)
{
    auto chat = std::make_shared<const Chat>(std::move(embedder));
    return [chat](const QString &question, const LibraryData &data) { return chat->answer(question, data); };
}

void AppModel::loadSettings()
{
    m_options = SleepOptions::fromSettings(m_settings->value(kOptionsKey));
    m_safariConnected = m_settings->value(kConnectedKey, false).toBool();
    m_demoMode = m_settings->value(kDemoKey, false).toBool();
}


void AppModel::setSelection(const SidebarSelection &selection)
{
    if (selection == m_selection)
        return;
    m_selection = selection;
    Q_EMIT selectionChanged();
}

QString AppModel::selectionKey() const
{
    return m_selection.key();
}

void AppModel::setSelectionKey(const QString &key)
{
    if (const auto selection = SidebarSelection::fromKey(key))
        setSelection(*selection);
}

void AppModel::setQuery(const QString &query)
{
    if (query == m_query)
        return;
    m_query = query;
    Q_EMIT queryChanged();
    scheduleSearch();
}

void AppModel::setDetailTab(const std::optional<SavedTab> &tab)
{
    if (tab == m_detailTab)
        return;
    m_detailTab = tab;
    Q_EMIT detailTabChanged();
}

void AppModel::setSleepStage(const SleepStage &stage)
{
    if (stage == m_sleepStage)
        return;
    m_sleepStage = stage;
    Q_EMIT sleepStageChanged();
}

void AppModel::confirmSleepResult()
{
    setSleepStage(SleepStage::idle());
}

bool AppModel::isSleepRunning() const
{
    return m_sleepStage.isRunning();
}

void AppModel::setOptions(const SleepOptions &options)
{
    // Every assignment is written, as the popover saves each toggle at once.
    m_settings->setValue(kOptionsKey, options.encode());
    if (options == m_options)
        return;
    m_options = options;
    Q_EMIT optionsChanged();
}

void AppModel::setSafariConnected(bool connected)
{
    m_settings->setValue(kConnectedKey, connected);
    if (connected == m_safariConnected)
        return;
    m_safariConnected = connected;
    Q_EMIT safariConnectedChanged();
}

void AppModel::setDemoMode(bool on)
{
    if (!on && m_demoMode && m_ownLibraryKept) {
        bringBackOwnLibrary();
        return;
    }
    m_settings->setValue(kDemoKey, on);
    if (on == m_demoMode)
        return;
    m_demoMode = on;
    Q_EMIT demoModeChanged();
}

void AppModel::setNotice(const std::optional<QString> &notice)
{
    if (notice == m_notice)
        return;
    m_notice = notice;
    Q_EMIT noticeChanged();
}

void AppModel::showSaveError()
{
    const QString &error = m_library->lastError();
    if (error.isEmpty()) {
        if (!m_shownSaveError.isEmpty() && m_notice == m_shownSaveError)
            setNotice(std::nullopt);
        m_shownSaveError.clear();
        return;
    }
    // A sleep run reports its own failure in the popover.
    if (isSleepRunning())
        return;
    m_shownSaveError = error;
    setNotice(error);
}

void AppModel::setLiveCounts(std::optional<int> tabs, std::optional<int> windows)
{
    if (tabs != m_liveTabs) {
        m_liveTabs = tabs;
        Q_EMIT liveTabsChanged();
    }
    if (windows != m_liveWindows) {
        m_liveWindows = windows;
        Q_EMIT liveWindowsChanged();
    }
}

void AppModel::setSafariMessage(const std::optional<QString> &message)
{
    if (message == m_safariMessage)
        return;
    m_safariMessage = message;
    Q_EMIT safariMessageChanged();
}

void AppModel::setChatBusy(bool busy)
{
    if (busy == m_chatBusy)
        return;
    m_chatBusy = busy;
    Q_EMIT chatBusyChanged();
}

void AppModel::appendChat(const ChatMessage &message)
{
    m_chat.append(message);
    m_chatModel->append(message);
    Q_EMIT chatChanged();
}

void AppModel::setSearchResults(const QList<SavedTab> &results)
{
    if (results == m_searchResults)
        return;
    m_searchResults = results;
    Q_EMIT searchResultsChanged();
}

void AppModel::selectFirstTopic()
{
    const QList<Topic> &topics = m_library->data().topics;
    if (!topics.isEmpty())
        setSelection(SidebarSelection::topic(topics.first().id));
}

void AppModel::refreshLists()
{
    m_visibleTabs->setTabs(visibleTabs());
    m_sidebar->setData(m_library->data());
}


QList<SavedTab> AppModel::visibleTabs() const
{
    return m_query.isEmpty() ? tabsFor(m_selection) : m_searchResults;
}

QList<SavedTab> AppModel::tabsFor(const SidebarSelection &selection) const
{
    const LibraryData &data = m_library->data();
    QList<SavedTab> tabs;
    switch (selection.kind) {
    case SidebarSelection::Kind::topic:
        for (const Topic &topic : data.topics) {
            if (topic.id == selection.id) {
                tabs = data.tabsIn(topic);
                break;
            }
        }
        break;
    case SidebarSelection::Kind::window:
        for (const SavedWindow &window : data.windows) {
            if (window.id == selection.id) {
                tabs = data.tabsIn(window);
                break;
            }
        }
        break;
    case SidebarSelection::Kind::all:
        tabs = data.tabs;
        break;
    case SidebarSelection::Kind::notes:
        for (const SavedTab &tab : data.tabs) {
            if (!tab.note.isEmpty())
                tabs.append(tab);
        }
        break;
    case SidebarSelection::Kind::reminders:
        for (const SavedTab &tab : data.tabs) {
            if (tab.reminderAt)
                tabs.append(tab);
        }
        std::stable_sort(tabs.begin(), tabs.end(),
                         [](const SavedTab &a, const SavedTab &b) { return *a.reminderAt < *b.reminderAt; });
        return tabs;
    case SidebarSelection::Kind::hints:
        for (const Hint &hint : data.openHints()) {
            if (const auto tab = data.tab(hint.tabId))
                tabs.append(*tab);
        }
        return tabs;
    }
    sortStandard(tabs);
    return tabs;
}

std::optional<Hint> AppModel::hintFor(const SavedTab &tab) const
{
    for (const Hint &hint : m_library->data().openHints()) {
        if (hint.tabId == tab.id)
            return hint;
    }
    return std::nullopt;
}

int AppModel::tabCount() const
{
    return int(m_library->data().tabs.size());
}

int AppModel::remindersTodayCount() const
{
    return remindersOfToday(m_library->data(), m_clock->now());
}

int AppModel::openHintCount() const
{
    return int(m_library->data().openHints().size());
}

int AppModel::remindersOfToday(const LibraryData &data, const QDateTime &now)
{
    const QDate today = now.toLocalTime().date();
    int count = 0;
    for (const SavedTab &tab : data.tabs) {
        if (tab.reminderAt && (tab.reminderAt->toLocalTime().date() <= today || *tab.reminderAt <= now))
            ++count;
    }
    return count;
}

bool AppModel::isSearchPending() const
{
    return m_searchTimer.isActive() || m_searchRunning;
}

bool AppModel::isBusy() const
{
    return m_work->pending > 0 || m_work->sleep.isRunning() || isSearchPending();
}


void AppModel::scheduleSearch()
{
    m_searchTimer.stop();
    ++m_searchGeneration; // a running search's result is now stale
    m_searchRunning = false;
    const QString trimmed = m_query.trimmed();
    if (trimmed.isEmpty()) {
        setSearchResults({});
        return;
    }
    m_searchTimer.start();
}

void AppModel::startSearch()
{
    const quint64 generation = ++m_searchGeneration;
    m_searchRunning = true;
    struct Found
    {
        QList<SavedTab> tabs;
        std::optional<LibraryData> completed; // with the vectors the search had to make
    };
    runThenApply(
        this,
        [index = *m_index, embedder = m_embedder, query = m_query, data = m_library->data()]() mutable {
            Found found;
            if (!embedder->hasEmbeddings(data)) {
                embedder->ensureEmbeddings(data);
                found.completed = data;
            }
            found.tabs = index.search(query, data, 60);
            return found;
        },
        [this, generation](const Found &found) {
            if (found.completed)
                keepEmbeddings(*found.completed);
            if (generation != m_searchGeneration)
                return;
            m_searchRunning = false;
            setSearchResults(found.tabs);
        });
}

void AppModel::keepEmbeddings(const LibraryData &completed)
{
    // Only vectors still missing are added: a tab edited since has lost its
    // vector on purpose, and its new text is not what was embedded.
    const LibraryData &now = m_library->data();
    const bool sameKind = now.embedderKind == completed.embedderKind;
    QHash<QUuid, const SavedTab *> embedded;
    embedded.reserve(completed.tabs.size());
    for (const SavedTab &tab : completed.tabs)
        embedded.insert(tab.id, &tab);
    QHash<QString, Vector> added;
    for (const SavedTab &tab : now.tabs) {
        const QString key = idText(tab.id);
        if (sameKind && now.embeddings.contains(key))
            continue;
        const SavedTab *original = embedded.value(tab.id);
        const auto vector = completed.embeddings.constFind(key);
        if (original && vector != completed.embeddings.constEnd()
            && original->searchableText() == tab.searchableText())
            added.insert(key, *vector);
    }
    if (added.isEmpty() && sameKind)
        return;
    m_library->mutate([&](LibraryData &data) {
        if (data.embedderKind != completed.embedderKind) {
            data.embeddings.clear();
            data.embedderKind = completed.embedderKind;
        }
        data.embeddings.insert(added);
    });
}


void AppModel::sleepAllTabs()
{
    if (isSleepRunning())
        return;
    if (!m_demoMode) {
        if (!m_safariConnected) {
            setSleepStage(SleepStage::failed(PlatformWords::connectFirst()));
            return;
        }
        if (!m_bridge->isSafariRunning()) {
            setSleepStage(SleepStage::failed(SafariError::notRunning().errorDescription()));
            return;
        }
    }
    const SleepOptions options = m_options;
    const bool demo = m_demoMode;
    const quint64 run = ++m_sleepRun;
    m_sleepStop.emplace();
    setSleepStage(SleepStage::reading());

    auto pipeline = std::make_shared<const SleepPipeline>(m_embedder);
    auto access = std::make_shared<LiveLibraryAccess>(m_library);
    QPointer<AppModel> self(this);
    auto onStage = [self, run](const SleepStage &stage) {
        QMetaObject::invokeMethod(
            self.data(),
            [self, run, stage] {
                if (self)
                    self->applyStage(run, stage);
            },
            Qt::QueuedConnection);
    };
    auto work = [pipeline, access, bridge = m_bridge, clock = m_clock, options, demo, onStage,
                 stop = m_sleepStop->get_token()] {
        return SleepRun(*pipeline, *access, bridge.get(), *clock).run(options, demo, onStage, stop);
    };
    auto *watcher = new QFutureWatcher<SleepRun::Outcome>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher, run, demo] {
        const SleepRun::Outcome outcome = watcher->result();
        watcher->deleteLater();
        finishSleepRun(run, demo, outcome.stage, outcome.cancelled);
    });
    m_work->sleep = QtConcurrent::run(std::move(work));
    watcher->setFuture(m_work->sleep);
}

void AppModel::applyStage(quint64 run, const SleepStage &stage)
{
    // Stages of a cancelled or earlier run must not overwrite the current one.
    if (run != m_sleepRun || !m_sleepStop || m_sleepStop->stop_requested())
        return;
    setSleepStage(stage);
}

void AppModel::finishSleepRun(quint64 run, bool demo, const SleepStage &stage, bool cancelled)
{
    if (run != m_sleepRun)
        return;
    cancelled = cancelled || (m_sleepStop && m_sleepStop->stop_requested());
    m_sleepStop.reset();
    if (!cancelled) {
        if (stage.kind == SleepStage::Kind::done && !demo) {
            const SleepStats &stats = stage.stats;
            const int before = m_liveTabs.value_or(stats.tabs);
            setLiveCounts(std::max(0, before - stats.closed), m_liveWindows);
        }
        setSleepStage(stage);
        if (stage.kind == SleepStage::Kind::done)
            selectFirstTopic();
        if (!m_popoverOpen && m_notifications)
            Reminders::postResult(*m_notifications, stage.kind == SleepStage::Kind::done
                                                        ? QStringLiteral("✓ ") + stage.stats.sentence()
                                                        : stage.message);
    }
    Q_EMIT sleepRunEnded();
}

void AppModel::cancelSleep()
{
    if (m_sleepStop)
        m_sleepStop->request_stop();
    setSleepStage(SleepStage::idle());
}


void AppModel::refreshLiveCount()
{
    // Called as the popover opens and by the periodic timer: the moments a
    // new day must show in the footer.
    Q_EMIT remindersTodayChanged();
    if (!m_safariConnected || isSleepRunning())
        return;
    if (!m_bridge->isSafariRunning()) {
        setLiveCounts(std::nullopt, std::nullopt);
        setSafariMessage(PlatformWords::browserNotOpen());
        return;
    }
    ++m_work->pending;
    runThenApply(
        this, [bridge = m_bridge] { return bridge->countTabs(); },
        [this](const SafariResult<SafariTabCount> &count) {
            --m_work->pending;
            if (!count) {
                setSafariMessage(count.error().errorDescription());
                return;
            }
            setLiveCounts(count->tabs, count->windows);
            setSafariMessage(std::nullopt);
        });
}

QString AppModel::extensionFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
        + QStringLiteral("/Pellmora/browser/extension");
}

void AppModel::watchBrowsers()
{
    const QStringList names = m_bridge->connectedNames();
    const QVariantMap words = wordsFor(names, ModelConfig::current().modelName);
    if (words != m_words) {
        m_words = words;
        Q_EMIT wordsChanged();
    }
    if (names == m_browsers)
        return;
    m_browsers = names;
    if (!m_bridge->connectsByItself())
        return;
    setSafariConnected(!names.isEmpty());
    if (names.isEmpty()) {
        setLiveCounts(std::nullopt, std::nullopt);
        return;
    }
    // A browser that connects answers the connect button's question.
    setSafariMessage(std::nullopt);
    refreshLiveCount();
}

void AppModel::connectSafari()
{
    setSafariMessage(std::nullopt);
    if (m_bridge->connectsByItself() && m_bridge->connectedBrowsers().isEmpty()) {
        setSafariMessage(PlatformWords::connectSteps(extensionFolder()));
        return;
    }
    if (!m_bridge->isSafariRunning()) {
        setSafariMessage(SafariError::notRunning().errorDescription());
        return;
    }
    ++m_work->pending;
    runThenApply(
        this, [bridge = m_bridge] { return bridge->countTabs(); },
        [this](const SafariResult<SafariTabCount> &count) {
            --m_work->pending;
            if (!count) {
                setSafariMessage(count.error().errorDescription());
                return;
            }
            setLiveCounts(count->tabs, count->windows);
            setSafariConnected(true);
            setDemoMode(false);
        });
}


void AppModel::ask(const QString &question)
{
    const QString trimmed = question.trimmed();
    if (trimmed.isEmpty() || m_chatBusy)
        return;
    appendChat({QUuid::createUuid(), ChatMessage::Role::user, trimmed, {}, false});
    setChatBusy(true);
    ++m_work->pending;
    runThenApply(
        this, [answer = m_answer, trimmed, data = m_library->data()] { return answer(trimmed, data); },
        [this](const ChatAnswer &answer) {
            --m_work->pending;
            appendChat({QUuid::createUuid(), ChatMessage::Role::assistant, answer.text, answer.cards, answer.byAI});
            setChatBusy(false);
        });
}


void AppModel::open(const QList<SavedTab> &tabs)
{
    QList<QUrl> urls;
    QSet<QUuid> ids;
    for (const SavedTab &tab : tabs) {
        const QUrl url = WebAddress::parse(tab.url);
        if (!url.isValid() || url.scheme().isEmpty())
            continue;
        urls.append(url);
    }
    if (urls.isEmpty())
        return;
    for (const SavedTab &tab : tabs)
        ids.insert(tab.id);
    const QDateTime now = m_clock->now();
    m_library->mutate([&](LibraryData &data) {
        for (SavedTab &tab : data.tabs) {
            if (ids.contains(tab.id))
                tab.readAt = now;
        }
    });
    // Even the default handler may go through a connected browser and wait
    // for it, so both ways run off the main thread.
    const bool inBrowser = m_safariConnected && urls.size() > 1;
    ++m_work->pending;
    runThenApply(
        this,
        [bridge = m_bridge, urls, inBrowser] {
            if (!inBrowser || !bridge->reopen(urls, true))
                bridge->openWithWorkspace(urls);
            return true;
        },
        [this](bool) { --m_work->pending; });
}

void AppModel::save(const SavedTab &tab)
{
    m_library->updateTab(tab.id, [&](SavedTab &stored) {
        stored.note = tab.note;
        stored.reminderAt = tab.reminderAt;
        stored.projectTags = tab.projectTags;
    });
    // The note is part of the searchable text, so the vector is made again.
    m_library->mutate([&](LibraryData &data) { data.embeddings.remove(idText(tab.id)); });
    if (const auto stored = m_library->data().tab(tab.id))
        scheduleReminders({*stored});
}

void AppModel::deleteTab(const SavedTab &tab)
{
    if (m_notifications)
        Reminders::cancel(*m_notifications, tab.id);
    const QUuid id = tab.id;
    m_library->mutate([&](LibraryData &data) {
        data.tabs.removeIf([&](const SavedTab &t) { return t.id == id; });
        for (SavedWindow &window : data.windows)
            window.tabIds.removeAll(id);
        data.windows.removeIf([](const SavedWindow &w) { return w.tabIds.isEmpty(); });
        for (Topic &topic : data.topics)
            topic.tabIds.removeAll(id);
        data.topics.removeIf([](const Topic &t) { return t.tabIds.isEmpty(); });
        data.hints.removeIf([&](const Hint &h) { return h.tabId == id; });
        data.embeddings.remove(idText(id));
    });
    if (m_detailTab && m_detailTab->id == id)
        setDetailTab(std::nullopt);
}

void AppModel::setReminder(const QList<SavedTab> &tabs, const QDateTime &at)
{
    QSet<QUuid> ids;
    for (const SavedTab &tab : tabs)
        ids.insert(tab.id);
    m_library->mutate([&](LibraryData &data) {
        for (SavedTab &tab : data.tabs) {
            if (ids.contains(tab.id))
                tab.reminderAt = at;
        }
    });
    QList<SavedTab> updated;
    for (const SavedTab &tab : m_library->data().tabs) {
        if (ids.contains(tab.id))
            updated.append(tab);
    }
    scheduleReminders(updated);
    setNotice(QStringLiteral("Erinnerung gesetzt: ") + Fmt::full(at));
}

void AppModel::scheduleReminders(const QList<SavedTab> &tabs)
{
    // The notification service belongs to this thread; scheduling only hands
    // requests over, so it is done here rather than in a task.
    if (!m_notifications)
        return;
    for (const SavedTab &tab : tabs)
        Reminders::schedule(*m_notifications, tab, *m_clock);
}

void AppModel::postMissedReminders()
{
    const QVariant seen = m_settings->value(kRemindersSeenKey);
    const QDateTime now = m_clock->now();
    if (seen.isValid() && m_notifications) {
        for (const SavedTab &tab : Reminders::missedSince(m_library->data().tabs, seen.toDateTime(), now))
            Reminders::postNow(*m_notifications, tab);
    }
    // Nothing posts reminders while Pellmora is closed; the first start says so.
    if (!seen.isValid() && !m_launchAtLogin)
        setNotice(QStringLiteral("Willkommen bei Pellmora. Erinnerungen kommen nur, während Pellmora läuft: "
                                 "Schalte in den Einstellungen «Beim Anmelden starten» ein, dann kommen sie "
                                 "pünktlich."));
    markRemindersSeen();
}

void AppModel::markRemindersSeen()
{
    m_settings->setValue(kRemindersSeenKey, m_clock->now());
    m_settings->sync();
}

void AppModel::dismissHint(const SavedTab &tab)
{
    m_library->mutate([&](LibraryData &data) {
        for (Hint &hint : data.hints) {
            if (hint.tabId == tab.id)
                hint.dismissed = true;
        }
    });
}


int AppModel::generateHints(bool notify)
{
    HintRun run = HintEngine::lookForHints(m_library->data(), *m_embedder, *m_clock);
    m_library->replace(run.data);
    if (notify && m_notifications) {
        for (const Hint &hint : std::as_const(run.hints)) {
            if (const auto tab = run.data.tab(hint.tabId))
                Reminders::postHint(*m_notifications, hint, *tab);
        }
    }
    setNotice(hintsNotice(run.hints.size()));
    return int(run.hints.size());
}

void AppModel::dailyHintCheck()
{
    if (HintEngine::dailyCheckDue(m_library->data(), *m_clock))
        generateHints(true);
}


void AppModel::regroupTopics()
{
    ++m_work->pending;
    runThenApply(
        this,
        [clusterer = clustererFor(m_embedder), data = m_library->data()]() mutable {
            clusterer.cluster(data, true);
            return data;
        },
        [this](const LibraryData &data) {
            --m_work->pending;
            m_library->replace(data);
            selectFirstTopic();
            Q_EMIT topicsRegrouped();
        });
}

bool AppModel::demoReplacesOwnTabs() const
{
    return DemoData::holdsOwnTabs(m_library->data());
}

void AppModel::refreshOwnLibraryKept()
{
    const bool kept = LibraryBackups(m_library->store().filePath(), *m_clock).hasKept();
    if (kept == m_ownLibraryKept)
        return;
    m_ownLibraryKept = kept;
    Q_EMIT ownLibraryKeptChanged();
}

void AppModel::backUpBeforeReplace()
{
    // The replacement goes ahead either way: the user asked for it, and a
    // library file that does not read has nothing worth copying.
    const Status copied = LibraryBackups(m_library->store().filePath(), *m_clock).backUpBeforeReplace();
    if (!copied)
        qCWarning(lcAppModel) << "no backup before replacing the library:" << copied.error();
}

void AppModel::bringBackOwnLibrary()
{
    const LibraryBackups backups(m_library->store().filePath(), *m_clock);
    if (backups.hasKept()) {
        // A running sleep writes into the library it started on.
        if (isSleepRunning()) {
            setNotice(QStringLiteral("Die eigene Bibliothek lässt sich zurückholen, sobald die Tabs schlafen."));
            return;
        }
        const Status back = backups.bringBackKept();
        if (!back) {
            setNotice(back.error());
            return;
        }
        m_library->reload();
        refreshOwnLibraryKept();
        setSelection(SidebarSelection::all());
        selectFirstTopic();
        const qsizetype tabs = m_library->data().tabs.size();
        setNotice(QStringLiteral("Eigene Bibliothek zurückgeholt: ") + QString::number(tabs)
                  + (tabs == 1 ? QStringLiteral(" Tab.") : QStringLiteral(" Tabs.")));
    }
    setDemoMode(false);
}

void AppModel::loadDemoData()
{
    ++m_work->pending;
    const UserContext context = m_library->data().context;
    runThenApply(
        this,
        [embedder = m_embedder, context, now = m_clock->now(), clock = m_clock] {
            LibraryData data = DemoData::library(now);
            data.context = context;
            if (context.freeText.isEmpty())
                data.context.freeText = DemoData::contextFreeText();
            clustererFor(embedder).cluster(data, true);
            HintEngine(*embedder, 0.1f).generateHints(data, ContextReader::projectsFor(data.context), 2, *clock);
            return data;
        },
        [this](const LibraryData &data) {
            --m_work->pending;
            const LibraryBackups backups(m_library->store().filePath(), *m_clock);
            // Only the user's own library is kept: over a kept one lies the
            // demo library, or what was added to it, and that goes to the backups.
            if (!backups.hasKept() && DemoData::holdsOwnTabs(m_library->data())) {
                if (const Status kept = backups.keepAside(); !kept) {
                    setNotice(kept.error());
                    Q_EMIT demoDataLoaded();
                    return;
                }
            }
            backUpBeforeReplace();
            m_library->replace(data);
            refreshOwnLibraryKept();
            setDemoMode(true);
            selectFirstTopic();
            setNotice(QStringLiteral("Beispiel-Daten geladen: ") + QString::number(data.tabs.size())
                      + QStringLiteral(" Tabs in ") + QString::number(data.windows.size())
                      + QStringLiteral(" Fenstern."));
            Q_EMIT demoDataLoaded();
        });
}

void AppModel::clearLibrary()
{
    LibraryData empty;
    empty.context = m_library->data().context;
    backUpBeforeReplace();
    m_library->replace(empty);
    setSelection(SidebarSelection::all());
}

void AppModel::setLaunchAtLogin(bool on)
{
    const LaunchAtLogin login(m_autostartFolder);
    if (const Status done = login.setEnabled(on); !done)
        setNotice(QStringLiteral("Beim Anmelden starten: ") + done.error());
    const bool enabled = login.isEnabled();
    if (enabled != m_launchAtLogin) {
        m_launchAtLogin = enabled;
        Q_EMIT launchAtLoginChanged();
    } else if (enabled != on) {
        // The switch moved in the view; tell it to show the real state again.
        Q_EMIT launchAtLoginChanged();
    }
}


void AppModel::updateContext(const std::function<void(UserContext &)> &change)
{
    m_library->mutate([&](LibraryData &data) { change(data.context); });
}

void AppModel::addContextFolder(const QString &path)
{
    updateContext([&](UserContext &context) {
        if (!context.folderPaths.contains(path))
            context.folderPaths.append(path);
    });
}

void AppModel::removeContextFolder(const QString &path)
{
    updateContext([&](UserContext &context) { context.folderPaths.removeAll(path); });
}

void AppModel::setContextFreeText(const QString &text)
{
    updateContext([&](UserContext &context) { context.freeText = text; });
}

void AppModel::setHintsPerDay(int count)
{
    updateContext([&](UserContext &context) { context.hintsPerDay = count; });
}

void AppModel::setHintHour(int hour)
{
    updateContext([&](UserContext &context) { context.hintHour = hour; });
}


QList<SavedTab> AppModel::libraryTabs(const QStringList &ids) const
{
    QList<SavedTab> tabs;
    for (const QString &text : ids) {
        if (const auto tab = m_library->data().tab(QUuid(text)))
            tabs.append(*tab);
    }
    return tabs;
}

void AppModel::openTabs(const QStringList &ids)
{
    open(libraryTabs(ids));
}

void AppModel::saveEdits(const QString &id, const QString &note, const QVariant &reminderAt,
                         const QStringList &projectTags)
{
    auto tab = m_library->data().tab(QUuid(id));
    if (!tab)
        return;
    tab->note = note;
    const QDateTime at = reminderAt.toDateTime();
    tab->reminderAt = at.isValid() ? std::optional(at) : std::nullopt;
    tab->projectTags = projectTags;
    save(*tab);
}

void AppModel::deleteTabById(const QString &id)
{
    if (const auto tab = m_library->data().tab(QUuid(id)))
        deleteTab(*tab);
}

void AppModel::setReminderFor(const QStringList &ids, const QDateTime &at)
{
    setReminder(libraryTabs(ids), at);
}

void AppModel::dismissHintFor(const QString &id)
{
    if (const auto tab = m_library->data().tab(QUuid(id)))
        dismissHint(*tab);
}

void AppModel::showDetail(const QString &id)
{
    setDetailTab(m_library->data().tab(QUuid(id)));
}

void AppModel::closeDetail()
{
    setDetailTab(std::nullopt);
}


QVariantList AppModel::searchResultList() const
{
    QVariantList list;
    for (const SavedTab &tab : m_searchResults)
        list.append(TabListModel::toMap(tab));
    return list;
}

QVariant AppModel::detailTabValue() const
{
    return m_detailTab ? QVariant(TabListModel::toMap(*m_detailTab)) : QVariant();
}

QVariant AppModel::sleepStageFraction() const
{
    const auto fraction = m_sleepStage.fraction();
    return fraction ? QVariant(*fraction) : QVariant();
}

void AppModel::setGroupByWindow(bool on)
{
    SleepOptions options = m_options;
    options.groupByWindow = on;
    setOptions(options);
}

void AppModel::setSortByTopic(bool on)
{
    SleepOptions options = m_options;
    options.sortByTopic = on;
    setOptions(options);
}

void AppModel::setSaveContent(bool on)
{
    SleepOptions options = m_options;
    options.saveContent = on;
    setOptions(options);
}

void AppModel::setKeepPinned(bool on)
{
    SleepOptions options = m_options;
    options.keepPinned = on;
    setOptions(options);
}

void AppModel::setPinnedDomains(const QStringList &domains)
{
    SleepOptions options = m_options;
    options.pinnedDomains = domains;
    setOptions(options);
}

QVariant AppModel::liveTabsValue() const
{
    return optionalInt(m_liveTabs);
}

QVariant AppModel::liveWindowsValue() const
{
    return optionalInt(m_liveWindows);
}

QVariant AppModel::safariMessageValue() const
{
    return optionalText(m_safariMessage);
}

QVariant AppModel::noticeValue() const
{
    return optionalText(m_notice);
}

void AppModel::setNoticeValue(const QVariant &notice)
{
    setNotice(notice.isNull() || !notice.isValid() ? std::nullopt : std::optional(notice.toString()));
}
