#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

// Swiss German date and number texts, and reading dates given as text.
// Every function is stateless and safe to call from any thread.
namespace Fmt {

QString iso(const QDateTime &date);                 // 2026-11-16T19:31:00Z
std::optional<QDateTime> parseISO(const QString &text);
// A date as the library file holds it: exactly the form of iso() (UTC,
// whole seconds, the letter Z); no offsets, no fractions.
std::optional<QDateTime> parseFileDate(QStringView text);
QString full(const QDateTime &date);                // Montag, 16.11.2026, 20:31
QString weekdayDayMonth(const QDateTime &date);     // Mo. 16.11.
QString dayKey(const QDateTime &date);              // 2026-11-16
QString dayMonth(const QDateTime &date);            // 16.11.
QString dayMonthTime(const QDateTime &date);        // 16.11. 20:31
QString number(qint64 value);                       // 1'234

} // namespace Fmt
