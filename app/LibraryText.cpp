#include "LibraryText.h"

#include <algorithm>

#include <QSet>

#include "Fmt.h"
#include "PlatformWords.h"
#include "Reminders.h"

namespace {

QString count(qint64 n)
{
    return Fmt::number(n);
}

std::optional<Topic> topicById(const LibraryData &data, const QUuid &id)
{
    for (const Topic &topic : data.topics) {
        if (topic.id == id)
            return topic;
    }
    return std::nullopt;
}

std::optional<SavedWindow> windowById(const LibraryData &data, const QUuid &id)
{
    for (const SavedWindow &window : data.windows) {
        if (window.id == id)
            return window;
    }
    return std::nullopt;
}

QString topicSource(const LibraryData &data, const std::optional<Topic> &topic)
{
    if (topic && topic->isUnsorted)
        return QStringLiteral("passt zu keinem Thema");
    return data.topicsByAI ? QStringLiteral("von der KI gruppiert") : QStringLiteral("nach Stichwörtern");
}

} // namespace

namespace LibraryText {

QString title(const LibraryData &data, const SidebarSelection &selection, const QString &query)
{
    if (!query.isEmpty())
        return QStringLiteral("Suche: «") + query + QStringLiteral("»");
    switch (selection.kind) {
    case SidebarSelection::Kind::topic: {
        const auto topic = topicById(data, selection.id);
        return topic ? topic->name : QStringLiteral("Thema");
    }
    case SidebarSelection::Kind::window: {
        const auto window = windowById(data, selection.id);
        return window ? window->title : QStringLiteral("Fenster");
    }
    case SidebarSelection::Kind::all: return QStringLiteral("Alle Tabs");
    case SidebarSelection::Kind::reminders: return QStringLiteral("Erinnerungen");
    case SidebarSelection::Kind::notes: return QStringLiteral("Mit Notiz");
    case SidebarSelection::Kind::hints: return QStringLiteral("Hinweise zu deinen Projekten");
    }
    return {};
}

QString subtitle(const LibraryData &data, const SidebarSelection &selection, const QString &query,
                 const QList<SavedTab> &listed)
{
    const QString n = count(listed.size());
    if (!query.isEmpty())
        return n + QStringLiteral(" Treffer nach Bedeutung und Stichwort");
    switch (selection.kind) {
    case SidebarSelection::Kind::topic: {
        QSet<QUuid> windows;
        for (const SavedTab &tab : listed)
            windows.insert(tab.windowId);
        const qsizetype w = windows.size();
        return n + QStringLiteral(" Tabs aus ") + count(w) + u' '
            + (w == 1 ? QStringLiteral("Fenster") : QStringLiteral("Fenstern")) + QStringLiteral(" · ")
            + topicSource(data, topicById(data, selection.id));
    }
    case SidebarSelection::Kind::window:
        return n + PlatformWords::savedWindowLine();
    case SidebarSelection::Kind::all:
        return n + QStringLiteral(" gespeicherte Tabs aus ") + count(data.windows.size())
            + QStringLiteral(" Fenstern");
    case SidebarSelection::Kind::reminders:
        return n + QStringLiteral(" Tabs mit Erinnerung, die nächste zuoberst");
    case SidebarSelection::Kind::notes: return n + QStringLiteral(" Tabs mit deiner Notiz");
    case SidebarSelection::Kind::hints:
        return n + QStringLiteral(" ungelesene Tabs, die zu deinem Kontext passen");
    }
    return {};
}

QString emptyListText(const QString &query)
{
    if (!query.isEmpty())
        return QStringLiteral("Keine Treffer für «") + query + QStringLiteral("».");
    return QStringLiteral("Hier ist noch nichts.");
}

QString reopenAllText(int n)
{
    return QStringLiteral("Alle ") + count(n) + QStringLiteral(" wieder öffnen");
}

QString dateLine(const SavedTab &tab)
{
    QString line = tab.domain + QStringLiteral(" · gespeichert ") + Fmt::dayMonth(tab.savedAt);
    if (tab.isRead())
        line += QStringLiteral(" · gelesen");
    return line;
}

bool isDue(const QDateTime &reminderAt, const QDateTime &now)
{
    return reminderAt <= now;
}

bool hasDemoTabs(const LibraryData &data)
{
    return std::any_of(data.tabs.cbegin(), data.tabs.cend(), [](const SavedTab &tab) { return tab.isDemo; });
}

QDateTime defaultReminder(const QDateTime &now)
{
    // The next calendar day, as "later" in a notification: on the night the
    // clocks go back, 24 hours from just after midnight are still today.
    return Reminders::laterDate(now);
}

QDateTime reminderFromParts(int year, int month, int day, int hour, int minute)
{
    month = std::clamp(month, 1, 12);
    const QDate first(year, month, 1);
    if (!first.isValid())
        return {};
    const QDate date(year, month, std::clamp(day, 1, first.daysInMonth()));
    return QDateTime(date, QTime(std::clamp(hour, 0, 23), std::clamp(minute, 0, 59)), Qt::LocalTime);
}

QStringList addProject(const QStringList &tags, const QString &typed)
{
    const QString name = typed.trimmed();
    if (name.isEmpty() || tags.contains(name))
        return tags;
    return tags + QStringList{name};
}

} // namespace LibraryText
