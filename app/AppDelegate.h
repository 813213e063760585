#pragma once

#include <QObject>
#include <QTimer>

#include <memory>

#include "Clock.h"
#include "LibraryStore.h"
#include "NotificationRequest.h"

class AppModel;
class Embedder;
class Library;
class MainMenu;
class QQmlEngine;
class QSettings;
class TrayController;
class WindowManager;

// The application's delegate: creates the shared objects in a fixed order,
// puts the moon into the tray, keeps its tooltip in step with due reminders,
// runs the 30-second housekeeping and turns notification answers into
// operations. Holds no logic of its own beyond that.
class AppDelegate : public QObject
{
    Q_OBJECT

public:
    static constexpr int kTickMs = 30000;
    static constexpr int kTitleDebounceMs = 200;

    explicit AppDelegate(LibraryStore store = LibraryStore::standard(),
                         const Clock &clock = Clock::system(), QObject *parent = nullptr);
    ~AppDelegate() override;

    // Creates everything and opens the library window.
    void launch();
    // A later start of the program asked this one to come to the front.
    void activate();

    // One round of housekeeping, as the timer runs it.
    void tick();
    void updateStatusTitle();
    void handleAnswer(const NotificationAnswer &answer);
    // The file menu's import (read on a worker thread) and export; each ends
    // in the library window's notice.
    void importFile(const QString &path);
    void exportFile(const QString &path);

    Library *library() const { return m_library.get(); }
    AppModel *model() const { return m_model.get(); }
    WindowManager *windows() const { return m_windows.get(); }
    TrayController *tray() const { return m_tray.get(); }
    MainMenu *mainMenu() const { return m_menu.get(); }
    QQmlEngine *engine() const { return m_engine.get(); }
    const QTimer &timer() const { return m_timer; }

signals:
    // An import finished (its notice is set), for callers that wait on it.
    void importFinished();

private:
    void buildMainMenu();
    void buildStatusItem();
    void setUpNotifications();

    LibraryStore m_store;
    const Clock &m_clock;
    std::unique_ptr<QQmlEngine> m_engine;
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<Library> m_library;
    std::shared_ptr<const Embedder> m_embedder;
    std::unique_ptr<AppModel> m_model;
    std::unique_ptr<WindowManager> m_windows;
    std::unique_ptr<MainMenu> m_menu;
    std::unique_ptr<TrayController> m_tray;
    QTimer m_timer;
    QTimer m_titleDebounce;
};
