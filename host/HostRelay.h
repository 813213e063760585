#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QTimer>

#include "NativeFrame.h"

class QLocalSocket;
class QSocketNotifier;

// Passes messages between the browser (our standard input and output) and
// the running Pellmora (its local socket). The browser starts us whenever the
// extension connects, whether Pellmora runs or not, so we keep trying to
// reach Pellmora and replay the extension's hello on every new connection.
// While Pellmora is away, messages from the browser are dropped: they can
// only be answers to a Pellmora that is gone, and a new one asks afresh.
class HostRelay : public QObject
{
    Q_OBJECT

public:
    // Reads from inFd and writes to outFd (0 and 1 for the real host).
    HostRelay(QString socketPath, int inFd, int outFd, int retryMs = 1000, QObject *parent = nullptr);
    ~HostRelay() override;

    void start();

signals:
    // The browser closed our input (0) or sent what we cannot read (1).
    void finished(int exitCode);

private:
    void readInput();
    void fromBrowser(const QByteArray &body);
    void connectToPellmora();
    void connected();
    void readSocket();
    void lostPellmora();
    bool writeOut(const QByteArray &bytes);

    QString m_socketPath;
    int m_inFd;
    int m_outFd;
    QSocketNotifier *m_input = nullptr;
    QLocalSocket *m_socket = nullptr;
    QTimer m_retry;
    NativeFrame m_fromBrowser{NativeFrame::fromBrowserLimit};
    NativeFrame m_fromPellmora{NativeFrame::toBrowserLimit};
    QByteArray m_hello; // the extension's hello, as a whole frame
    bool m_linked = false;
    bool m_done = false;
};
