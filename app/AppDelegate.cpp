#include "AppDelegate.h"

#include <QGuiApplication>
#include <QLoggingCategory>
#include <QQmlEngine>
#include <QQuickView>
#include <QSettings>

#include "FreedesktopNotifications.h"
#include "Library.h"
#include "MainMenu.h"
#include "QmlModule.h"
#include "Reminders.h"
#include "TrayController.h"
#include "WindowManager.h"

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
    // Windows and the tray hold views of the engine: they go first.
    m_tray.reset();
    m_windows.reset();
    m_menu.reset();
    m_notifications.reset();
}

void AppDelegate::launch()
{
    m_library = std::make_unique<Library>(m_store);

    m_engine = std::make_unique<QQmlEngine>();
    QmlModule::prepare(*m_engine);
    m_settings = std::make_unique<QSettings>();
    m_windows = std::make_unique<WindowManager>(m_engine.get(), m_settings.get());

    buildMainMenu();
    buildStatusItem();

    setUpNotifications();

    // Bursts of changes (a sleep run writes several times) refresh the tray once.
    connect(m_library.get(), &Library::dataChanged, &m_titleDebounce,
            qOverload<>(&QTimer::start));
    connect(qGuiApp, &QGuiApplication::applicationStateChanged, this,
            [this](Qt::ApplicationState state) {
                // Picks up at once what the command-line companion wrote.
                if (state == Qt::ApplicationActive)
                    m_library->reloadIfChangedOnDisk();
            });
    m_timer.start();

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
    updateStatusTitle();
}

void AppDelegate::updateStatusTitle()
{
    if (!m_library || !m_tray)
        return;
    m_tray->setDueCount(static_cast<int>(m_library->data().dueReminders(m_clock.now()).size()));
}

void AppDelegate::handleAnswer(const NotificationAnswer &answer)
{
    Q_UNUSED(answer);
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
    // Queued: the menu that sent it is inside a window about to go away.
    connect(m_menu.get(), &MainMenu::quitRequested, qApp, &QCoreApplication::quit,
            Qt::QueuedConnection);
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
    m_tray->show();
}

void AppDelegate::setUpNotifications()
{
    Reminders::setEnabled(true);
    if (!Reminders::isUsable())
        return;
    m_notifications = std::make_unique<FreedesktopNotifications>();
    connect(m_notifications.get(), &NotificationService::answered, this,
            &AppDelegate::handleAnswer, Qt::QueuedConnection);
    // Rescheduling may ask the bus for pending requests: not in the way of the first window.
    QTimer::singleShot(0, this, [this] {
        Reminders::rescheduleAll(*m_notifications, m_library->data().tabs, m_clock);
    });
}
