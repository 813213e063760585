#pragma once

#include <QStringList>

// `pellmora-cli summary`: a few lines about the library file.
int runSummaryCommand(const QStringList &args);
