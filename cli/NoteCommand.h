#pragma once
#include <QStringList>

// `pellmora-cli note ID TEXT [--json]`: sets (or with "" clears) a tab's note.
int runNoteCommand(const QStringList &args);
