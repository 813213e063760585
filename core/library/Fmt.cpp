#include "Fmt.h"

#include <QLocale>
#include <QRegularExpression>

namespace {

QString swiss(const QDateTime &date, const QString &pattern)
{
    static const QLocale locale(QLocale::German, QLocale::Switzerland);
    return locale.toString(date.toLocalTime(), pattern);
}

std::optional<QDateTime> localFixed(const QString &text, const QString &pattern)
{
    const QDateTime date = QLocale::c().toDateTime(text, pattern);
    if (!date.isValid())
        return std::nullopt;
    return date; // Qt reads a zone-less pattern as local time
}

} // namespace

namespace Fmt {

QString iso(const QDateTime &date)
{
    return date.toUTC().toString(u"yyyy-MM-dd'T'HH:mm:ss'Z'");
}

std::optional<QDateTime> parseISO(const QString &text)
{
    // Internet date-time: whole seconds and a zone, Z or +hh:mm.
    static const QRegularExpression dateTime(QStringLiteral(
        R"(^(\d{4})-(\d{2})-(\d{2})T(\d{2}):(\d{2}):(\d{2})(Z|[+-]\d{2}:\d{2})$)"),
        QRegularExpression::CaseInsensitiveOption);
    if (const auto m = dateTime.match(text); m.hasMatch()) {
        const QDate day(m.capturedView(1).toInt(), m.capturedView(2).toInt(),
                        m.capturedView(3).toInt());
        const QTime time(m.capturedView(4).toInt(), m.capturedView(5).toInt(),
                         m.capturedView(6).toInt());
        if (day.isValid() && time.isValid()) {
            const QStringView zone = m.capturedView(7);
            int offset = 0;
            if (zone.compare(u"Z", Qt::CaseInsensitive) != 0) {
                const int hours = zone.mid(1, 2).toInt();
                const int minutes = zone.mid(4, 2).toInt();
                if (hours > 23 || minutes > 59)
                    return std::nullopt;
                offset = (hours * 60 + minutes) * 60 * (zone.front() == u'-' ? -1 : 1);
            }
            return QDateTime(day, time, Qt::OffsetFromUTC, offset).toUTC();
        }
    }
    static const QRegularExpression dayOnly(QStringLiteral(R"(^(\d{4})-(\d{2})-(\d{2})$)"));
    if (const auto m = dayOnly.match(text); m.hasMatch()) {
        const QDate day(m.capturedView(1).toInt(), m.capturedView(2).toInt(),
                        m.capturedView(3).toInt());
        if (day.isValid())
            return QDateTime(day, QTime(0, 0), Qt::UTC);
    }
    for (const QString &pattern : {QStringLiteral("yyyy-MM-dd'T'HH:mm"),
                                  QStringLiteral("yyyy-MM-dd HH:mm"),
                                  QStringLiteral("yyyy-MM-dd'T'HH:mm:ss")}) {
        if (auto date = localFixed(text, pattern))
            return date;
    }
    return std::nullopt;
}

QString full(const QDateTime &date)
{
    return swiss(date, QStringLiteral("dddd, dd.MM.yyyy, HH:mm"));
}

QString weekdayDayMonth(const QDateTime &date)
{
    return swiss(date, QStringLiteral("ddd dd.MM."));
}

QString dayKey(const QDateTime &date)
{
    return date.toLocalTime().toString(u"yyyy-MM-dd");
}

QString dayMonth(const QDateTime &date)
{
    return date.toLocalTime().toString(u"dd.MM.");
}

QString dayMonthTime(const QDateTime &date)
{
    return date.toLocalTime().toString(u"dd.MM. HH:mm");
}

QString number(qint64 value)
{
    // Qt's de_CH grouping uses U+2019; the house form is a plain apostrophe.
    const bool negative = value < 0;
    const QString digits = QString::number(value).remove(u'-');
    QString out;
    out.reserve(digits.size() + digits.size() / 3 + 1);
    for (qsizetype i = 0; i < digits.size(); ++i) {
        if (i > 0 && (digits.size() - i) % 3 == 0)
            out.append(u'\'');
        out.append(digits.at(i));
    }
    return negative ? QStringLiteral("-") + out : out;
}

} // namespace Fmt
