#pragma once

#include <QObject>
#include <QString>

class QLocalServer;

// One instance per user session. The first start listens on a local socket in
// the user's runtime folder; a later start finds it there, asks it to come to
// the front and ends.
class SingleInstance : public QObject
{
    Q_OBJECT

public:
    // An empty path means the default socket for this user.
    explicit SingleInstance(QString socketPath = {}, QObject *parent = nullptr);
    ~SingleInstance() override;

    // $XDG_RUNTIME_DIR/pellmora.socket, or a per-user name in the temporary
    // folder where the runtime folder is not set.
    static QString defaultSocketPath();

    enum class Role {
        Primary,   // this process is the one instance and now listens
        Activated, // another instance runs and was asked to come to the front
        Alone,     // no socket could be had; run without the rule
    };

    // Asks a running instance to come to the front, else becomes the one
    // instance. A leftover socket of a crashed instance is replaced.
    Role claim();

    QString socketPath() const { return m_path; }
    bool isListening() const;

signals:
    // A later start asked this instance to come to the front.
    void activationRequested();

private:
    bool activateRunning(int timeoutMs);
    void onNewConnection();

    QString m_path;
    QLocalServer *m_server = nullptr;
};
