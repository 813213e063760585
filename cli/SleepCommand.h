#pragma once
#include <QStringList>

// `pellmora-cli sleep [--demo] [--no-content] [--no-topics] [--by-window|--no-by-window]
// [--keep-pinned DOMAIN…]`: puts the browser's tabs to sleep from a terminal.
int runSleepCommand(const QStringList &args);
