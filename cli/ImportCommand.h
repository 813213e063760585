#pragma once
#include <QStringList>

// `pellmora-cli import FILE [--format onetab|html|json]`: adds the addresses
// of a tab list, a bookmark file or an export as new saved windows.
int runImportCommand(const QStringList &args);
