#pragma once

#include <QStringList>

// pellmora-cli hints: looks for project hints now, as the app's
// "Jetzt Hinweise suchen" does, without a notification.
int runHintsCommand(const QStringList &arguments);
// pellmora-cli context: the projects the context reader finds.
int runContextCommand(const QStringList &arguments);
