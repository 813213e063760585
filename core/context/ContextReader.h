#pragma once

#include "ProjectText.h"
#include "UserContext.h"

#include <QList>
#include <QSet>
#include <QString>

#include <optional>

// Turns the user's project folders and free text into projects. Reads only
// three file names, two folder levels deep and a bounded prefix of each file,
// so pointing it at a large tree stays cheap. Safe from any thread.
namespace ContextReader {

inline constexpr qsizetype maxChars = 30000;
inline constexpr qint64 maxBytes = 120000;
inline constexpr int maxDepth = 2;

const QSet<QString> &allowedNames();

QList<ProjectText> projectsFor(const UserContext &context);
qsizetype projectCountIn(const QString &folderPath);

// Context files below `folder` in depth-first, name-interleaved order.
QStringList filesIn(const QString &folder, int depth);
// The file's text (bytes capped, UTF-8 repaired, characters capped), or
// nothing when it cannot be read or is empty.
std::optional<QString> readLimited(const QString &file);

} // namespace ContextReader
