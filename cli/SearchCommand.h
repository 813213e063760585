#pragma once
#include <QStringList>

// `pellmora-cli search QUERY [--limit N] [--json]`: ranked saved tabs.
int runSearchCommand(const QStringList &args);
