#include <QCoreApplication>

#include <csignal>

#include "BrowserHub.h"
#include "HostRelay.h"

int main(int argc, char *argv[])
{
    // The browser passes its extension's origin (and on some systems a
    // window handle) as arguments; nothing here depends on them.
    QCoreApplication app(argc, argv);
    // A browser that went away shows up as a failed write, not a signal.
    std::signal(SIGPIPE, SIG_IGN);
    HostRelay relay(BrowserHub::defaultSocketPath(), 0, 1);
    QObject::connect(&relay, &HostRelay::finished, &app, [](int code) { QCoreApplication::exit(code); });
    relay.start();
    return app.exec();
}
