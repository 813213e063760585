#pragma once

#include <QString>

#include <memory>

#include "BrowserBridge.h"

// The browser connection pellmora-cli drives; null where this system offers
// none yet.
std::unique_ptr<BrowserBridge> makeCliBridge();

// Why there is no browser connection, for the user.
QString noCliBridgeMessage();
