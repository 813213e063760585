#pragma once

#include "LibraryData.h"
#include "SavedTab.h"
#include "SidebarSelection.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

// The library window's texts and the detail sheet's rules, as plain
// functions of the library so they are tested without a view.
namespace LibraryText {

// The header above the list: for a search, else for the sidebar selection.
QString title(const LibraryData &data, const SidebarSelection &selection, const QString &query);
QString subtitle(const LibraryData &data, const SidebarSelection &selection, const QString &query,
                 const QList<SavedTab> &listed);
// What an empty list says instead of rows.
QString emptyListText(const QString &query);
// "Alle 12 wieder öffnen".
QString reopenAllText(int count);

// "example.com · gespeichert 16.11." plus " · gelesen" once opened.
QString dateLine(const SavedTab &tab);
// A reminder is due from its very minute on.
bool isDue(const QDateTime &reminderAt, const QDateTime &now);
bool hasDemoTabs(const LibraryData &data);

// Tomorrow at 09:00 local time: the detail sheet's reminder when the tab has none.
QDateTime defaultReminder(const QDateTime &now);
// The picker's fields as a local date; a day past the month's end becomes its last day.
QDateTime reminderFromParts(int year, int month, int day, int hour, int minute);
// The tags with a typed project name added: trimmed, never empty, never twice.
QStringList addProject(const QStringList &tags, const QString &typed);

} // namespace LibraryText
