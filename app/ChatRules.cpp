#include "ChatRules.h"

#include "AppModel.h"
#include "Clock.h"
#include "Fmt.h"

ChatRules::ChatRules(QObject *parent)
    : QObject(parent)
{
    m_minute.setInterval(60 * 1000);
    connect(&m_minute, &QTimer::timeout, this, &ChatRules::nowChanged);
    m_minute.start();
}

void ChatRules::setModel(AppModel *model)
{
    if (m_model == model)
        return;
    m_model = model;
    Q_EMIT modelChanged();
    Q_EMIT nowChanged();
}

QString ChatRules::openLabel(int count)
{
    switch (count) {
    case 1: return QStringLiteral("Öffnen");
    case 2: return QStringLiteral("Beide öffnen");
    case 3: return QStringLiteral("Alle drei öffnen");
    default: return QStringLiteral("Alle ") + QString::number(count) + QStringLiteral(" öffnen");
    }
}

QDateTime ChatRules::nextMonday(const QDateTime &now)
{
    const QDateTime local = now.toLocalTime();
    QDate day = local.date();
    // Two weeks are more than enough; the fallback only guards odd calendars.
    for (int i = 0; i < 15; ++i, day = day.addDays(1)) {
        if (day.dayOfWeek() != Qt::Monday)
            continue;
        const QDateTime candidate(day, QTime(9, 0), Qt::LocalTime);
        if (candidate.isValid() && candidate.time() == QTime(9, 0) && candidate > now)
            return candidate;
    }
    return now.addSecs(604800);
}

QString ChatRules::remindLabel(const QDateTime &at)
{
    return QStringLiteral("→ Erinnere mich ") + Fmt::weekdayDayMonth(at) + QStringLiteral(" 09:00");
}

QString ChatRules::savedLine(const QDateTime &savedAt, bool read)
{
    QString line = QStringLiteral("Gespeichert ") + Fmt::dayMonth(savedAt);
    if (!read)
        line += QStringLiteral(", nie gelesen.");
    return line;
}

QDateTime ChatRules::now() const
{
    return m_model ? m_model->clock().now() : Clock::system().now();
}

QString ChatRules::remindText() const
{
    return remindLabel(nextMonday(now()));
}

QString ChatRules::savedText(const QVariantMap &card) const
{
    return savedLine(card.value(QStringLiteral("savedAt")).toDateTime(),
                     card.value(QStringLiteral("isRead")).toBool());
}

void ChatRules::openCard(const QVariantMap &card)
{
    openCards({card});
}

void ChatRules::openCards(const QVariantList &cards)
{
    if (m_model)
        m_model->openTabs(idsOf(cards));
}

void ChatRules::remindCards(const QVariantList &cards)
{
    if (m_model)
        m_model->setReminderFor(idsOf(cards), nextMonday(now()));
}

QStringList ChatRules::idsOf(const QVariantList &cards)
{
    QStringList ids;
    for (const QVariant &card : cards)
        ids << card.toMap().value(QStringLiteral("tabId")).toString();
    return ids;
}
