#pragma once

#include "Hint.h"
#include "SavedTab.h"
#include "SavedWindow.h"
#include "Topic.h"
#include "UserContext.h"

#include <QHash>
#include <QList>
#include <QString>

#include <optional>

using Vector = QList<float>;

// The whole library: the root of library.json.
struct LibraryData
{
    qint64 version = 1;
    QList<SavedTab> tabs;
    QList<SavedWindow> windows;
    QList<Topic> topics;
    UserContext context;
    QList<Hint> hints;
    QHash<QString, Vector> embeddings; // keyed by the tab id's text form (upper case)
    QString embedderKind;
    bool topicsByAI = false;
    std::optional<QString> lastHintDay; // Fmt::dayKey of the last day hints were made

    // Lookups never fail: they return nothing or an empty list.
    std::optional<SavedTab> tab(const QUuid &id) const;
    std::optional<Topic> topicOf(const SavedTab &tab) const;
    std::optional<SavedWindow> windowOf(const SavedTab &tab) const;
    // The listed tabs in library order, each once, dangling ids skipped.
    QList<SavedTab> tabsIn(const Topic &topic) const;
    QList<SavedTab> tabsIn(const SavedWindow &window) const;
    // Tabs whose reminder is at or before now, in library order.
    QList<SavedTab> dueReminders(const QDateTime &now) const;
    QList<SavedTab> dueReminders() const;
    QList<Hint> openHints() const;

    friend bool operator==(const LibraryData &, const LibraryData &) = default;
};

// The text form of an id as it is written to the file and used as the key of
// `embeddings`: 36 characters, upper case, no braces.
QString idText(const QUuid &id);
// An id read from text: exactly that form, in either case; nothing for braces,
// other layouts or anything before or after.
std::optional<QUuid> idFromText(const QString &text);
