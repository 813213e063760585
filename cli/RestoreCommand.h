#pragma once
#include <QStringList>

// `pellmora-cli restore DATE`: puts a daily copy back in place of the library.
int runRestoreCommand(const QStringList &args);
