#pragma once

#include <QString>

#include <memory>

#include "Result.h"

class AppModel;
class BrowserHub;
class BrowserBridge;
class Embedder;
class Library;
class QQmlEngine;
class QSettings;

// Everything a self-test mode works with, inside a fresh sandbox folder: the
// live library on the sandbox's "library.json", the embedder (semantic
// vectors allowed), the application model and a QML engine for its views.
// Nothing of it reaches the user's files: backups lie beside the sandbox's
// library, the model keeps its settings in the sandbox, and the browser
// connection listens nowhere. Destroying the session removes the sandbox.
class SelfTestSession
{
public:
    // prefix: "pellmora-sleeptest-" or "pellmora-snapshot-".
    static Result<std::unique_ptr<SelfTestSession>> create(const QString &prefix);
    ~SelfTestSession();
    SelfTestSession(const SelfTestSession &) = delete;
    SelfTestSession &operator=(const SelfTestSession &) = delete;

    const QString &folder() const { return m_folder; }
    QString libraryPath() const;
    Library &library() const { return *m_library; }
    AppModel &model() const { return *m_model; }
    const std::shared_ptr<const Embedder> &embedder() const { return m_embedder; }
    // Prepared for the module's views, with the model as their `AppModel`.
    QQmlEngine &engine();

    // Waits for the model's background work, then deletes the sandbox.
    // Also done by the destructor; true when the folder is gone.
    bool close();

private:
    explicit SelfTestSession(QString folder);

    QString m_folder;
    std::unique_ptr<BrowserHub> m_hub;
    std::shared_ptr<QSettings> m_settings;
    std::unique_ptr<Library> m_library;
    std::shared_ptr<const Embedder> m_embedder;
    std::unique_ptr<AppModel> m_model;
    std::unique_ptr<QQmlEngine> m_engine;
    bool m_closed = false;
};
