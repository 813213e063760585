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

int digits(const QChar *s, int n)
{
    int v = 0;
    for (int i = 0; i < n; ++i) {
        const char16_t c = s[i].unicode();
        if (c < u'0' || c > u'9')
            return -1;
        v = v * 10 + (c - u'0');
    }
    return v;
}

// Days since 1970-01-01 of a proleptic Gregorian date.
qint64 daysFromCivil(qint64 y, unsigned m, unsigned d)
{
    y -= m <= 2;
    const qint64 era = (y >= 0 ? y : y - 399) / 400;
    const unsigned yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<qint64>(doe) - 719468;
}

} // namespace

namespace Fmt {

// By hand: the library file holds several dates per tab, and a regular
// expression or a date parser would cost more than the rest of reading them.
std::optional<QDateTime> parseFileDate(QStringView text)
{
    if (text.size() != 20)
        return std::nullopt;
    const QChar *s = text.data();
    if (s[4] != u'-' || s[7] != u'-' || s[10] != u'T' || s[13] != u':' || s[16] != u':' || s[19] != u'Z')
        return std::nullopt;
    const int year = digits(s, 4), month = digits(s + 5, 2), day = digits(s + 8, 2);
    const int hour = digits(s + 11, 2), minute = digits(s + 14, 2), second = digits(s + 17, 2);
    if (year < 0 || month < 0 || day < 0 || hour < 0 || minute < 0 || second < 0)
        return std::nullopt;
    if (!QDate::isValid(year, month, day) || hour > 23 || minute > 59 || second > 59)
        return std::nullopt;
    const qint64 secs = daysFromCivil(year, unsigned(month), unsigned(day)) * 86400
                        + hour * 3600 + minute * 60 + second;
    return QDateTime::fromSecsSinceEpoch(secs, Qt::UTC);
}

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
