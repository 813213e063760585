#pragma once
#include <QStringList>

// `pellmora-cli show ID [--json]`: one tab with summary, note and page text.
int runShowCommand(const QStringList &args);
