#pragma once

#include "AppModel.h"
#include "FakeBrowserBridge.h"
#include "FakeClock.h"
#include "Library.h"

#include <QSettings>
#include <QTemporaryDir>

#include <condition_variable>
#include <memory>
#include <mutex>

class Embedder;

// A model over a private library, settings file and autostart folder, with
// the fake browser and clock; everything lives in one temporary folder.
class AppModelFixture
{
public:
    AppModelFixture();
    ~AppModelFixture();

    // The model is made on first use, so a test can prepare the library and
    // the settings it starts from.
    AppModel &model();
    void resetModel();
    Library &library() { return *m_library; }
    FakeBrowserBridge &bridge() { return *m_bridge; }
    // Hands the model another bridge instead of the fake (before model()).
    void useBridge(std::shared_ptr<BrowserBridge> bridge) { m_bridgeOverride = std::move(bridge); }
    FakeClock &clock() { return m_clock; }
    QSettings &settings() { return *m_settings; }
    QString path(const QString &name) const { return m_dir.filePath(name); }
    QString autostartFolder() const { return path(QStringLiteral("autostart")); }

    // Before model(): the notification service, and whether to ask the
    // model server (the environment's) instead of reporting "unavailable".
    void useNotifications(NotificationService *service) { m_notifications = service; }
    void useSystemAIStatus() { m_systemAIStatus = true; }
    // Or report the model as available without asking anyone.
    void reportAIAvailable() { m_reportAIAvailable = true; }

    // Answers wait until released when holding, so a test can watch chatBusy.
    void holdAnswers(bool hold);
    int answersGiven() const;

    // Tabs and windows made for the tests of orders and deletion.
    static SavedTab tab(const QString &title, const QDateTime &savedAt, qint64 tabIndex,
                        const QString &url = {});
    static SafariWindow window(int index, const QStringList &urls);

private:
    QTemporaryDir m_dir;
    FakeClock m_clock;
    std::unique_ptr<Library> m_library;
    std::shared_ptr<Embedder> m_embedder;
    std::shared_ptr<FakeBrowserBridge> m_bridge;
    std::shared_ptr<BrowserBridge> m_bridgeOverride;
    NotificationService *m_notifications = nullptr;
    bool m_systemAIStatus = false;
    bool m_reportAIAvailable = false;
    std::shared_ptr<QSettings> m_settings;
    std::unique_ptr<AppModel> m_model;

    struct AnswerGate
    {
        std::mutex mutex;
        std::condition_variable changed;
        bool hold = false;
        int given = 0;
    };
    std::shared_ptr<AnswerGate> m_gate = std::make_shared<AnswerGate>();
};
