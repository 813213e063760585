#pragma once
#include <QStringList>

// `pellmora-cli list [--topic NAME|--window TITLE|--reminders|--notes] [--json]`.
int runListCommand(const QStringList &args);
