#pragma once

#include <QStringList>

// `pellmora-cli ask FRAGE [--json]`: the chat's answer from the standard library.
int runAskCommand(const QStringList &args);
