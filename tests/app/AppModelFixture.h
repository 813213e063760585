#pragma once

#include "AppModel.h"
#include "FakeBrowserBridge.h"
#include "FakeClock.h"
#include "Library.h"

#include <QSettings>
#include <QTemporaryDir>

#include <memory>

// A model over a private library, settings file and autostart folder, with
// the fake browser and clock and without the language model; everything
// lives in one temporary folder.
class AppModelFixture
{
public:
    AppModelFixture();

    // Made on first use, so a test can prepare the library and the settings
    // it starts from; after a reset the next one starts from what was stored.
    AppModel &model();
    void resetModel() { m_model.reset(); }
    Library &library() { return m_library; }
    FakeBrowserBridge &bridge() { return *m_bridge; }
    FakeClock &clock() { return m_clock; }
    QSettings &settings() { return *m_settings; }
    QString path(const QString &name) const { return m_dir.filePath(name); }

    // Before model(): the notification service, none by default.
    void useNotifications(NotificationService *service) { m_notifications = service; }

    // A browser window with tabs at these addresses, for the fake browser.
    static SafariWindow window(int index, const QStringList &urls);

private:
    QTemporaryDir m_dir;
    FakeClock m_clock;
    Library m_library;
    std::shared_ptr<FakeBrowserBridge> m_bridge = std::make_shared<FakeBrowserBridge>();
    std::shared_ptr<QSettings> m_settings;
    NotificationService *m_notifications = nullptr;
    std::unique_ptr<AppModel> m_model;
};
