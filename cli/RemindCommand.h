#pragma once
#include <QStringList>

// `pellmora-cli remind ID DATE [--json]`: sets a tab's reminder (ISO 8601).
int runRemindCommand(const QStringList &args);
