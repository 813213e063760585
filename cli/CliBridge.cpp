#include "CliBridge.h"

std::unique_ptr<BrowserBridge> makeCliBridge()
{
    // The connection to the browser extension is not wired up for the
    // command line yet; until then only demo runs work from a terminal.
    return nullptr;
}

QString noCliBridgeMessage()
{
    return QStringLiteral("Keine Verbindung zum Browser: pellmora-cli kann die offenen Tabs hier noch nicht lesen. "
                          "Mit «pellmora-cli sleep --demo» läuft der Ablauf mit den Beispieltabs.");
}
