#pragma once
#include <QStringList>

// `pellmora-cli export --format json|html|onetab|markdown [--topic NAME] [-o FILE]`
int runExportCommand(const QStringList &args);
