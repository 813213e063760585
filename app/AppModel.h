#pragma once

#include "ChatAnswer.h"
#include "ChatMessage.h"
#include "Hint.h"
#include "LibraryData.h"
#include "NotificationService.h"
#include "SavedTab.h"
#include "SidebarSelection.h"
#include "SleepOptions.h"
#include "SleepStage.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QVariant>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>

class BrowserBridge;
class ChatModel;
class Clock;
class Embedder;
class Library;
class QSettings;
class SearchIndex;
class SidebarModel;
class TabListModel;

// The one observable object of the application: the state that more than one
// window shows and every operation the tray, the menus and the windows
// trigger. Main thread only; long work runs on worker threads and comes back
// through queued calls, so a result for a destroyed model is dropped.
class AppModel : public QObject
{
    Q_OBJECT
    Q_MOC_INCLUDE("ChatModel.h")
    Q_MOC_INCLUDE("SidebarModel.h")
    Q_MOC_INCLUDE("TabListModel.h")

    Q_PROPERTY(SidebarSelection selection READ selection WRITE setSelection NOTIFY selectionChanged)
    // The selection as "topic:<id>", "window:<id>", "all", "reminders", "notes" or "hints".
    Q_PROPERTY(QString selectionKey READ selectionKey WRITE setSelectionKey NOTIFY selectionChanged)
    Q_PROPERTY(QString query READ query WRITE setQuery NOTIFY queryChanged)
    Q_PROPERTY(QVariantList searchResults READ searchResultList NOTIFY searchResultsChanged)
    // Null when no detail sheet is open, else the tab as a map (TabListModel::toMap).
    Q_PROPERTY(QVariant detailTab READ detailTabValue NOTIFY detailTabChanged)

    Q_PROPERTY(int sleepStageKind READ sleepStageKind NOTIFY sleepStageChanged)
    Q_PROPERTY(QString sleepStageLabel READ sleepStageLabel NOTIFY sleepStageChanged)
    // Null where the progress is unknown.
    Q_PROPERTY(QVariant sleepStageFraction READ sleepStageFraction NOTIFY sleepStageChanged)
    Q_PROPERTY(bool sleepRunning READ isSleepRunning NOTIFY sleepStageChanged)

    Q_PROPERTY(bool groupByWindow READ groupByWindow WRITE setGroupByWindow NOTIFY optionsChanged)
    Q_PROPERTY(bool sortByTopic READ sortByTopic WRITE setSortByTopic NOTIFY optionsChanged)
    Q_PROPERTY(bool saveContent READ saveContent WRITE setSaveContent NOTIFY optionsChanged)
    Q_PROPERTY(bool keepPinned READ keepPinned WRITE setKeepPinned NOTIFY optionsChanged)
    Q_PROPERTY(QStringList pinnedDomains READ pinnedDomains WRITE setPinnedDomains NOTIFY optionsChanged)

    Q_PROPERTY(bool safariConnected READ safariConnected WRITE setSafariConnected NOTIFY safariConnectedChanged)
    // Null until counted.
    Q_PROPERTY(QVariant liveTabs READ liveTabsValue NOTIFY liveTabsChanged)
    Q_PROPERTY(QVariant liveWindows READ liveWindowsValue NOTIFY liveWindowsChanged)
    Q_PROPERTY(QVariant safariMessage READ safariMessageValue NOTIFY safariMessageChanged)
    Q_PROPERTY(bool demoMode READ demoMode WRITE setDemoMode NOTIFY demoModeChanged)
    // The user's own library lies aside while the demo library stands in for it.
    Q_PROPERTY(bool ownLibraryKept READ ownLibraryKept NOTIFY ownLibraryKeptChanged)
    Q_PROPERTY(ChatModel *chat READ chatModel CONSTANT)
    Q_PROPERTY(bool chatBusy READ chatBusy NOTIFY chatBusyChanged)
    // Null when there is nothing to say; views set it back to null.
    Q_PROPERTY(QVariant notice READ noticeValue WRITE setNoticeValue NOTIFY noticeChanged)
    Q_PROPERTY(bool aiAvailable READ aiAvailable NOTIFY aiAvailableChanged)
    Q_PROPERTY(bool launchAtLogin READ launchAtLogin WRITE setLaunchAtLogin NOTIFY launchAtLoginChanged)
    // The views' words for the browser, the desktop and the model (PlatformWords), by name.
    Q_PROPERTY(QVariantMap words READ words NOTIFY wordsChanged)

    // List-shaped state for the views.
    Q_PROPERTY(TabListModel *visibleTabs READ visibleTabsModel CONSTANT)
    Q_PROPERTY(SidebarModel *sidebar READ sidebarModel CONSTANT)
    Q_PROPERTY(int tabCount READ tabCount NOTIFY libraryChanged)
    // The popover's footer: reminders of today (overdue ones included) and open hints.
    Q_PROPERTY(int remindersTodayCount READ remindersTodayCount NOTIFY remindersTodayChanged)
    Q_PROPERTY(int openHintCount READ openHintCount NOTIFY libraryChanged)

public:
    // Answers a question (already trimmed) about a copy of the library.
    // Runs on a worker thread.
    using Answerer = std::function<ChatAnswer(const QString &question, const LibraryData &data)>;

    // What the model works with; tests hand in fakes.
    struct Services
    {
        Library *library = nullptr; // not owned; outlives the model
        std::shared_ptr<const Embedder> embedder;
        std::shared_ptr<BrowserBridge> bridge;
        const Clock *clock = nullptr;                  // not owned; the system clock when null
        NotificationService *notifications = nullptr; // not owned; may be null
        std::shared_ptr<QSettings> settings;          // the per-user store when null
        QString autostartFolder;                      // $XDG_CONFIG_HOME/autostart when empty
        std::function<bool()> aiAvailable;            // AIStatus::isAvailable when empty
        Answerer answer;                              // the chat over the embedder when empty
        int searchDelayMs = 200;
    };

    explicit AppModel(Services services, QObject *parent = nullptr);
    ~AppModel() override;

    // The production wiring: the browser extension bridge over its hub, the
    // desktop's notification service and the per-user settings.
    static std::unique_ptr<AppModel> createDefault(Library *library, std::shared_ptr<const Embedder> embedder,
                                                   QObject *parent = nullptr);
    // Answers through the chat over the given embedder.
    static Answerer defaultAnswerer(std::shared_ptr<const Embedder> embedder);

    Library &library() const { return *m_library; }
    const std::shared_ptr<const Embedder> &embedder() const { return m_embedder; }
    BrowserBridge &bridge() const { return *m_bridge; }
    NotificationService *notifications() const { return m_notifications; }
    const Clock &clock() const { return *m_clock; }

    const SidebarSelection &selection() const { return m_selection; }
    void setSelection(const SidebarSelection &selection);
    QString selectionKey() const;
    void setSelectionKey(const QString &key);
    const QString &query() const { return m_query; }
    void setQuery(const QString &query);
    const QList<SavedTab> &searchResults() const { return m_searchResults; }
    const std::optional<SavedTab> &detailTab() const { return m_detailTab; }
    void setDetailTab(const std::optional<SavedTab> &tab);
    const SleepStage &sleepStage() const { return m_sleepStage; }
    // Only the popover sets the stage (back to idle).
    void setSleepStage(const SleepStage &stage);
    bool isSleepRunning() const;
    // Whether the popover, which shows a run's outcome, is open; when it is
    // not, the outcome comes as a notification.
    void setPopoverOpen(bool open) { m_popoverOpen = open; }
    const SleepOptions &options() const { return m_options; }
    void setOptions(const SleepOptions &options);
    bool safariConnected() const { return m_safariConnected; }
    void setSafariConnected(bool connected);
    std::optional<int> liveTabs() const { return m_liveTabs; }
    std::optional<int> liveWindows() const { return m_liveWindows; }
    const std::optional<QString> &safariMessage() const { return m_safariMessage; }
    bool demoMode() const { return m_demoMode; }
    // Switching off brings back the user's own library, if one lies aside.
    void setDemoMode(bool on);
    bool ownLibraryKept() const { return m_ownLibraryKept; }
    // Loading the demo library over this one must be confirmed first.
    Q_INVOKABLE bool demoReplacesOwnTabs() const;
    const QList<ChatMessage> &chat() const { return m_chat; }
    bool chatBusy() const { return m_chatBusy; }
    const std::optional<QString> &notice() const { return m_notice; }
    void setNotice(const std::optional<QString> &notice);
    bool aiAvailable() const { return m_aiAvailable; }
    bool launchAtLogin() const { return m_launchAtLogin; }
    const QVariantMap &words() const { return m_words; }
    // The connected browsers as their extensions name them, as last seen.
    const QStringList &browsers() const { return m_browsers; }
    // Where the installed browser extension lies, for the connecting steps.
    static QString extensionFolder();

    // The selection's tabs while the query is empty, else the search results.
    QList<SavedTab> visibleTabs() const;
    QList<SavedTab> tabsFor(const SidebarSelection &selection) const;
    std::optional<Hint> hintFor(const SavedTab &tab) const;

    ChatModel *chatModel() const { return m_chatModel; }
    TabListModel *visibleTabsModel() const { return m_visibleTabs; }
    SidebarModel *sidebarModel() const { return m_sidebar; }
    int tabCount() const;
    int remindersTodayCount() const;
    int openHintCount() const;
    // Tabs whose reminder lies on the calendar date of now or before now.
    static int remindersOfToday(const LibraryData &data, const QDateTime &now);

    // Operations on saved tabs, as the C++ side calls them.
    void open(const QList<SavedTab> &tabs);
    void save(const SavedTab &tab);
    void deleteTab(const SavedTab &tab);
    void setReminder(const QList<SavedTab> &tabs, const QDateTime &at);
    void dismissHint(const SavedTab &tab);
    void updateContext(const std::function<void(UserContext &)> &change);

    // Test hooks: whether background work of the model is still under way.
    bool isSearchPending() const;
    bool isBusy() const;

public Q_SLOTS:
    void sleepAllTabs();
    // The popover's cancel button: stops the run and shows idle at once.
    void cancelSleep();
    // The popover's OK button after a run: back to idle.
    void confirmSleepResult();
    void connectSafari();
    void refreshLiveCount();
    // Looks at which browsers are connected and what the model is called;
    // runs every second, so a browser that connects shows at once.
    void watchBrowsers();
    void ask(const QString &question);
    // Returns the number of new hints.
    int generateHints(bool notify);
    void dailyHintCheck();
    void regroupTopics();
    // The user's own tabs are kept aside whole and come back when demo mode
    // goes off; every replacement leaves a copy in the backups.
    void loadDemoData();
    // Puts the kept library back and leaves demo mode.
    void bringBackOwnLibrary();
    void clearLibrary();
    void setLaunchAtLogin(bool on);
    void addContextFolder(const QString &path);
    void removeContextFolder(const QString &path);

    // The same operations for QML, by tab id (the library's text form).
    void openTabs(const QStringList &ids);
    // reminderAt: a date, or null for none.
    void saveEdits(const QString &id, const QString &note, const QVariant &reminderAt,
                   const QStringList &projectTags);
    void deleteTabById(const QString &id);
    void setReminderFor(const QStringList &ids, const QDateTime &at);
    void dismissHintFor(const QString &id);
    void showDetail(const QString &id);
    void closeDetail();
    void setContextFreeText(const QString &text);
    void setHintsPerDay(int count);
    void setHintHour(int hour);

Q_SIGNALS:
    void selectionChanged();
    void queryChanged();
    void searchResultsChanged();
    void detailTabChanged();
    void sleepStageChanged();
    void optionsChanged();
    void safariConnectedChanged();
    void liveTabsChanged();
    void liveWindowsChanged();
    void safariMessageChanged();
    void demoModeChanged();
    void ownLibraryKeptChanged();
    void chatChanged();
    void chatBusyChanged();
    void noticeChanged();
    void aiAvailableChanged();
    void launchAtLoginChanged();
    void wordsChanged();
    // Every change of the live library, forwarded.
    void libraryChanged();
    // With every library change and every recount: "today" moves with the clock.
    void remindersTodayChanged();
    // Ends of the asynchronous operations, for callers that wait on them.
    void sleepRunEnded();
    void topicsRegrouped();
    void demoDataLoaded();

private:
    struct Work;

    void loadSettings();
    void scheduleSearch();
    void startSearch();
    // Writes back the vectors a search made for tabs that had none.
    void keepEmbeddings(const LibraryData &completed);
    void finishSleepRun(quint64 run, bool demo, const SleepStage &stage, bool cancelled);
    void applyStage(quint64 run, const SleepStage &stage);
    void setLiveCounts(std::optional<int> tabs, std::optional<int> windows);
    void setSafariMessage(const std::optional<QString> &message);
    void refreshOwnLibraryKept();
    // Copies the library file into the backups before it is replaced whole.
    void backUpBeforeReplace();
    void setChatBusy(bool busy);
    void appendChat(const ChatMessage &message);
    void setSearchResults(const QList<SavedTab> &results);
    void selectFirstTopic();
    void refreshLists();
    void showSaveError();
    QList<SavedTab> libraryTabs(const QStringList &ids) const;
    void scheduleReminders(const QList<SavedTab> &tabs);

public:
    // At start-up: posts, once, every reminder that came due since the
    // application last ran (nothing on the very first start).
    void postMissedReminders();
    // While running and at quit: reminders due until now were posted live,
    // so a restart must not post them again.
    void markRemindersSeen();

private:

    // QML-facing readers.
    QVariantList searchResultList() const;
    QVariant detailTabValue() const;
    int sleepStageKind() const { return static_cast<int>(m_sleepStage.kind); }
    QString sleepStageLabel() const { return m_sleepStage.label(); }
    QVariant sleepStageFraction() const;
    bool groupByWindow() const { return m_options.groupByWindow; }
    bool sortByTopic() const { return m_options.sortByTopic; }
    bool saveContent() const { return m_options.saveContent; }
    bool keepPinned() const { return m_options.keepPinned; }
    QStringList pinnedDomains() const { return m_options.pinnedDomains; }
    void setGroupByWindow(bool on);
    void setSortByTopic(bool on);
    void setSaveContent(bool on);
    void setKeepPinned(bool on);
    void setPinnedDomains(const QStringList &domains);
    QVariant liveTabsValue() const;
    QVariant liveWindowsValue() const;
    QVariant safariMessageValue() const;
    QVariant noticeValue() const;
    void setNoticeValue(const QVariant &notice);

    Library *m_library;
    std::shared_ptr<const Embedder> m_embedder;
    std::shared_ptr<BrowserBridge> m_bridge;
    const Clock *m_clock;
    QPointer<NotificationService> m_notifications;
    std::shared_ptr<QSettings> m_settings;
    QString m_autostartFolder;
    int m_searchDelayMs;
    Answerer m_answer;
    std::shared_ptr<const SearchIndex> m_index;

    SidebarSelection m_selection = SidebarSelection::all();
    QString m_query;
    QList<SavedTab> m_searchResults;
    std::optional<SavedTab> m_detailTab;
    SleepStage m_sleepStage;
    SleepOptions m_options;
    bool m_safariConnected = false;
    std::optional<int> m_liveTabs;
    std::optional<int> m_liveWindows;
    std::optional<QString> m_safariMessage;
    bool m_demoMode = false;
    bool m_ownLibraryKept = false;
    bool m_popoverOpen = false;
    QList<ChatMessage> m_chat;
    bool m_chatBusy = false;
    std::optional<QString> m_notice;
    // The library's write failure the notice shows, to clear it once a write succeeds.
    QString m_shownSaveError;
    bool m_aiAvailable = false;
    bool m_launchAtLogin = false;
    QStringList m_browsers;
    QVariantMap m_words;

    QTimer m_searchTimer;
    QTimer m_browserWatch;
    quint64 m_searchGeneration = 0;
    bool m_searchRunning = false;
    std::optional<std::stop_source> m_sleepStop; // the running sleep task
    quint64 m_sleepRun = 0;
    std::unique_ptr<Work> m_work;

    ChatModel *m_chatModel;
    TabListModel *m_visibleTabs;
    SidebarModel *m_sidebar;
};
