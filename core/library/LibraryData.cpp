#include "LibraryData.h"

#include "Clock.h"

#include <QSet>

namespace {

QList<SavedTab> tabsListed(const QList<SavedTab> &tabs, const QList<QUuid> &ids)
{
    const QSet<QUuid> wanted(ids.cbegin(), ids.cend());
    QList<SavedTab> result;
    for (const SavedTab &tab : tabs) {
        if (wanted.contains(tab.id))
            result.append(tab);
    }
    return result;
}

} // namespace

QString idText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

std::optional<QUuid> idFromText(const QString &text)
{
    if (text.size() != 36)
        return std::nullopt;
    for (int i = 0; i < 36; ++i) {
        const QChar c = text.at(i);
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        const bool hex = (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
        if (dash ? c != u'-' : !hex)
            return std::nullopt;
    }
    return QUuid::fromString(text);
}

std::optional<SavedTab> LibraryData::tab(const QUuid &id) const
{
    for (const SavedTab &t : tabs) {
        if (t.id == id)
            return t;
    }
    return std::nullopt;
}

std::optional<Topic> LibraryData::topicOf(const SavedTab &t) const
{
    if (!t.topicId)
        return std::nullopt;
    for (const Topic &topic : topics) {
        if (topic.id == *t.topicId)
            return topic;
    }
    return std::nullopt;
}

std::optional<SavedWindow> LibraryData::windowOf(const SavedTab &t) const
{
    for (const SavedWindow &window : windows) {
        if (window.id == t.windowId)
            return window;
    }
    return std::nullopt;
}

QList<SavedTab> LibraryData::tabsIn(const Topic &topic) const
{
    return tabsListed(tabs, topic.tabIds);
}

QList<SavedTab> LibraryData::tabsIn(const SavedWindow &window) const
{
    return tabsListed(tabs, window.tabIds);
}

QList<SavedTab> LibraryData::dueReminders(const QDateTime &now) const
{
    QList<SavedTab> result;
    for (const SavedTab &t : tabs) {
        if (t.reminderAt && *t.reminderAt <= now)
            result.append(t);
    }
    return result;
}

QList<SavedTab> LibraryData::dueReminders() const
{
    return dueReminders(Clock::system().now());
}

QList<Hint> LibraryData::openHints() const
{
    QList<Hint> result;
    for (const Hint &hint : hints) {
        if (!hint.dismissed)
            result.append(hint);
    }
    return result;
}
