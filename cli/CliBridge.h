#pragma once

#include <QString>

#include <memory>

#include "BrowserBridge.h"

// The browser connection pellmora-cli drives: its own hub on the socket the
// browsers' hosts look for, once the connected browsers have said hello.
// Null when the Pellmora app holds that socket (the app does the sleeping
// then), when the socket cannot be opened, or when no browser connects.
std::unique_ptr<BrowserBridge> makeCliBridge();

// Why the last makeCliBridge() gave no connection, for the user.
QString noCliBridgeMessage();
