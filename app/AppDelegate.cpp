#include "AppDelegate.h"

#include <QFutureWatcher>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QQmlEngine>
#include <QQuickView>
#include <QSettings>
#include <QtConcurrent/QtConcurrentRun>

#include "AppModel.h"
#include "AppModelForeign.h"
#include "Embedder.h"
#include "Library.h"
#include "LibraryTransfer.h"
#include "MainMenu.h"
#include "NotificationAnswers.h"
#include "QmlModule.h"
#include "Reminders.h"
#include "TrayController.h"
#include "WindowManager.h"
#include "EmbedderFactory.h"

Q_LOGGING_CATEGORY(lcDelegate, "pellmora.app")

AppDelegate::AppDelegate(LibraryStore store, const Clock &clock, QObject *parent)
    : QObject(parent), m_store(std::move(store)), m_clock(clock)
{
    m_timer.setInterval(kTickMs);
    m_titleDebounce.setInterval(kTitleDebounceMs);
    m_titleDebounce.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &AppDelegate::tick);
    connect(&m_titleDebounce, &QTimer::timeout, this, &AppDelegate::updateStatusTitle);
}

AppDelegate::~AppDelegate()
{
    // What came due while running was posted; a restart must not repeat it.
    if (m_model)
        m_model->markRemindersSeen();
    // Windows and the tray hold views of the engine: they go first.
    m_tray.reset();
    m_windows.reset();
    m_menu.reset();
    m_model.reset();
}

void AppDelegate::launch()
{
    // The desktop application is the one place that posts notifications.
    Reminders::setEnabled(true);
    // The tray keeps the application alive when every window is closed; only
    // the quit commands end it.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    m_library = std::make_unique<Library>(m_store);
    m_embedder = EmbedderFactory::create();
    m_model = AppModel::createDefault(m_library.get(), m_embedder);
    AppModelForeign::setInstance(m_model.get());

    m_engine = std::make_unique<QQmlEngine>();
    QmlModule::prepare(*m_engine);
    m_settings = std::make_unique<QSettings>();
    m_windows = std::make_unique<WindowManager>(m_engine.get(), m_settings.get());
    connect(m_windows.get(), &WindowManager::chatQuestionAsked, m_model.get(), &AppModel::ask);

    buildMainMenu();
    buildStatusItem();

    setUpNotifications();

    // Bursts of changes (a sleep run writes several times) refresh the tray once.
    connect(m_model.get(), &AppModel::libraryChanged, &m_titleDebounce,
            qOverload<>(&QTimer::start));
    connect(m_library.get(), &Library::lastErrorChanged, this, &AppDelegate::updateStatusTitle);
    connect(qGuiApp, &QGuiApplication::applicationStateChanged, this,
            [this](Qt::ApplicationState state) {
                // Picks up at once what the command-line companion wrote.
                if (state == Qt::ApplicationActive)
                    m_library->reloadIfChangedOnDisk();
            });
    m_timer.start();

    m_model->refreshLiveCount();
    updateStatusTitle();
    m_windows->showLibrary();
    qCInfo(lcDelegate) << "started; library window open";
}

void AppDelegate::activate()
{
    if (!m_windows)
        return;
    m_windows->showLibrary();
    const QQuickView *library = m_windows->window(QStringLiteral("library"));
    qCInfo(lcDelegate).nospace() << "library window shown on request: "
                                 << (library && library->isVisible());
}

void AppDelegate::tick()
{
    if (!m_library)
        return;
    m_library->reloadIfChangedOnDisk();
    m_model->refreshLiveCount();
    m_model->dailyHintCheck();
    m_model->markRemindersSeen();
    updateStatusTitle();
}

void AppDelegate::updateStatusTitle()
{
    if (!m_library || !m_tray)
        return;
    m_tray->setSaveFailed(!m_library->lastError().isEmpty());
    m_tray->setDueCount(static_cast<int>(m_library->data().dueReminders(m_clock.now()).size()));
}

void AppDelegate::handleAnswer(const NotificationAnswer &answer)
{
    if (!m_model)
        return;
    if (NotificationAnswers::apply(*m_model, answer, m_clock)
        == NotificationAnswers::Outcome::ShowDetail)
        m_windows->showLibrary(); // which then shows the tab's detail
}

void AppDelegate::buildMainMenu()
{
    m_menu = std::make_unique<MainMenu>(nullptr);
    MainMenu::attach(m_engine.get(), m_menu.get());
    WindowManager *windows = m_windows.get();
    connect(m_menu.get(), &MainMenu::openLibraryRequested, windows, &WindowManager::showLibrary);
    connect(m_menu.get(), &MainMenu::openChatRequested, windows, [windows] { windows->showChat(); });
    connect(m_menu.get(), &MainMenu::openContextRequested, windows, &WindowManager::showContext);
    connect(m_menu.get(), &MainMenu::openSettingsRequested, windows, &WindowManager::showSettings);
    connect(m_menu.get(), &MainMenu::hideRequested, windows, &WindowManager::hideAll);
    AppModel *model = m_model.get();
    connect(m_menu.get(), &MainMenu::regroupRequested, model, &AppModel::regroupTopics);
    connect(m_menu.get(), &MainMenu::findHintsRequested, model, [model, windows] {
        model->generateHints(false);
        // The hints list, even when nothing new was found.
        model->setSelection(SidebarSelection::hints());
        windows->showLibrary();
    });
    connect(m_menu.get(), &MainMenu::loadDemoRequested, model, [model, windows] {
        model->loadDemoData();
        windows->showLibrary();
    });
    connect(m_menu.get(), &MainMenu::toggleDemoRequested, model,
            [model] { model->setDemoMode(!model->demoMode()); });
    connect(m_menu.get(), &MainMenu::bringBackOwnLibraryRequested, model, [model, windows] {
        model->bringBackOwnLibrary();
        windows->showLibrary();
    });
    connect(m_menu.get(), &MainMenu::clearLibraryRequested, model, &AppModel::clearLibrary);
    connect(m_menu.get(), &MainMenu::importRequested, this, &AppDelegate::importFile);
    connect(m_menu.get(), &MainMenu::exportRequested, this, &AppDelegate::exportFile);
    // The check mark shows the mode however it changed (the toggle, demo
    // data, connecting the browser).
    m_menu->setDemoMode(model->demoMode());
    connect(model, &AppModel::demoModeChanged, m_menu.get(),
            [this, model] { m_menu->setDemoMode(model->demoMode()); });
    m_menu->setOwnLibraryKept(model->ownLibraryKept());
    connect(model, &AppModel::ownLibraryKeptChanged, m_menu.get(),
            [this, model] { m_menu->setOwnLibraryKept(model->ownLibraryKept()); });
    m_menu->setAskBeforeDemo(model->demoReplacesOwnTabs());
    connect(model, &AppModel::libraryChanged, m_menu.get(),
            [this, model] { m_menu->setAskBeforeDemo(model->demoReplacesOwnTabs()); });
    // Queued: the menu that sent it is inside a window about to go away.
    connect(m_menu.get(), &MainMenu::quitRequested, qApp, &QCoreApplication::quit,
            Qt::QueuedConnection);
}

void AppDelegate::importFile(const QString &path)
{
    using Read = Result<ImportResult>;
    auto *watcher = new QFutureWatcher<Read>(this);
    connect(watcher, &QFutureWatcher<Read>::finished, this, [this, watcher] {
        watcher->deleteLater();
        const Read read = watcher->result();
        if (!read) {
            m_model->setNotice(read.error());
        } else {
            const Result<QString> applied =
                LibraryTransfer::applyImport(*m_library, *read, m_clock.now());
            m_model->setNotice(applied ? *applied : applied.error());
        }
        m_windows->showLibrary();
        emit importFinished();
    });
    watcher->setFuture(QtConcurrent::run([path] { return LibraryTransfer::readImport(path); }));
}

void AppDelegate::exportFile(const QString &path)
{
    const Result<QString> written = LibraryTransfer::exportTo(m_library->data(), path);
    m_model->setNotice(written ? *written : written.error());
}

void AppDelegate::buildStatusItem()
{
    m_tray = std::make_unique<TrayController>(m_engine.get());
    WindowManager *windows = m_windows.get();
    connect(m_tray.get(), &TrayController::openLibraryRequested, windows,
            &WindowManager::showLibrary);
    connect(m_tray.get(), &TrayController::openChatRequested, windows,
            [windows] { windows->showChat(); });
    connect(m_tray.get(), &TrayController::openContextRequested, windows,
            &WindowManager::showContext);
    connect(m_tray.get(), &TrayController::openSettingsRequested, windows,
            &WindowManager::showSettings);
    connect(m_tray.get(), &TrayController::quitRequested, qApp, &QCoreApplication::quit,
            Qt::QueuedConnection);
    connect(m_tray.get(), &TrayController::popoverAboutToShow, m_model.get(),
            &AppModel::refreshLiveCount);
    AppModel *model = m_model.get();
    TrayController *tray = m_tray.get();
    connect(model, &AppModel::sleepStageChanged, tray,
            [model, tray] { tray->setHeldOpen(model->isSleepRunning()); });
    connect(tray, &TrayController::popoverVisibleChanged, model, &AppModel::setPopoverOpen);
    m_tray->show();
}

void AppDelegate::setUpNotifications()
{
    NotificationService *service = m_model->notifications();
    if (!service || !Reminders::isUsable())
        return;
    // Queued: the answer comes from the bus and reaches the model on its next turn.
    connect(service, &NotificationService::answered, this, &AppDelegate::handleAnswer,
            Qt::QueuedConnection);
    // Not in the way of the first window.
    QTimer::singleShot(0, this, [this, service] {
        Reminders::rescheduleAll(*service, m_library->data().tabs, m_clock);
        m_model->postMissedReminders();
    });
}
