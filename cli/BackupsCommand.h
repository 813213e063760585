#pragma once
#include <QStringList>

// `pellmora-cli backups`: lists the daily copies of the library, newest first.
int runBackupsCommand(const QStringList &args);
