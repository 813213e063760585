#include "LibraryBuilder.h"

#include "TopicPalette.h"

QDateTime LibraryBuilder::now()
{
    return QDateTime(QDate(2026, 11, 16), QTime(20, 31), Qt::UTC);
}

QUuid LibraryBuilder::id(int n)
{
    return QUuid(QStringLiteral("{00000000-0000-4000-8000-%1}").arg(n, 12, 10, QLatin1Char('0')));
}

LibraryBuilder::LibraryBuilder(QDateTime savedAt)
    : m_savedAt(std::move(savedAt))
{
}

LibraryBuilder &LibraryBuilder::window()
{
    const int n = int(m_data.windows.size()) + 1;
    m_data.windows.append(SavedWindow{windowId(n), m_savedAt, SavedWindow::makeTitle(n, m_savedAt), {}});
    return *this;
}

LibraryBuilder &LibraryBuilder::tab(const QString &title, const QString &url)
{
    if (m_data.windows.isEmpty())
        window();
    SavedWindow &window = m_data.windows.last();
    SavedTab tab;
    tab.id = tabId(int(m_data.tabs.size()) + 1);
    tab.title = title;
    tab.url = url.isEmpty()
                  ? QStringLiteral("https://example.org/") + title.toLower().replace(QLatin1Char(' '), QLatin1Char('-'))
                  : url;
    tab.domain = SavedTab::domainOf(tab.url);
    tab.savedAt = m_savedAt;
    tab.windowId = window.id;
    tab.windowIndex = m_data.windows.size();
    tab.tabIndex = window.tabIds.size() + 1;
    window.tabIds.append(tab.id);
    m_data.tabs.append(tab);
    return *this;
}

LibraryBuilder &LibraryBuilder::tabs(int count)
{
    const int first = int(m_data.tabs.size()) + 1;
    for (int n = first; n < first + count; ++n)
        tab(QStringLiteral("Tab %1").arg(n));
    return *this;
}

SavedTab &LibraryBuilder::last()
{
    Q_ASSERT_X(!m_data.tabs.isEmpty(), "LibraryBuilder", "add a tab first");
    return m_data.tabs.last();
}

LibraryBuilder &LibraryBuilder::savedAt(const QDateTime &at)
{
    last().savedAt = at;
    return *this;
}

LibraryBuilder &LibraryBuilder::text(const QString &text)
{
    last().text = text;
    return *this;
}

LibraryBuilder &LibraryBuilder::summary(const QString &summary)
{
    last().summary = summary;
    return *this;
}

LibraryBuilder &LibraryBuilder::tags(const QStringList &tags)
{
    last().tags = tags;
    return *this;
}

LibraryBuilder &LibraryBuilder::note(const QString &note)
{
    last().note = note;
    return *this;
}

LibraryBuilder &LibraryBuilder::reminder(const QDateTime &at)
{
    last().reminderAt = at;
    return *this;
}

LibraryBuilder &LibraryBuilder::projects(const QStringList &projectTags)
{
    last().projectTags = projectTags;
    return *this;
}

LibraryBuilder &LibraryBuilder::read(const QDateTime &at)
{
    last().readAt = at;
    return *this;
}

LibraryBuilder &LibraryBuilder::demo()
{
    last().isDemo = true;
    return *this;
}

LibraryBuilder &LibraryBuilder::vector(const Vector &vector)
{
    m_data.embeddings.insert(idText(last().id), vector);
    return *this;
}

LibraryBuilder &LibraryBuilder::topic(const QString &name, std::initializer_list<int> tabNumbers)
{
    const QStringList &colours = TopicPalette::names();
    const int n = int(m_data.topics.size()) + 1;
    Topic topic{topicId(n), name, colours.at((n - 1) % colours.size()), {}, false};
    for (int number : tabNumbers) {
        Q_ASSERT_X(number >= 1 && number <= m_data.tabs.size(), "LibraryBuilder::topic", "no such tab");
        SavedTab &tab = m_data.tabs[number - 1];
        tab.topicId = topic.id;
        topic.tabIds.append(tab.id);
    }
    m_data.topics.append(topic);
    return *this;
}

LibraryBuilder &LibraryBuilder::unsorted(const QString &name)
{
    m_unsorted = true;
    m_unsortedName = name;
    return *this;
}

LibraryBuilder &LibraryBuilder::hint(int tabNumber, const QString &text, bool dismissed)
{
    Q_ASSERT_X(tabNumber >= 1 && tabNumber <= m_data.tabs.size(), "LibraryBuilder::hint", "no such tab");
    m_data.hints.append(Hint{id(300 + int(m_data.hints.size()) + 1), tabId(tabNumber), text, m_savedAt, dismissed});
    return *this;
}

LibraryBuilder &LibraryBuilder::embedderKind(const QString &kind)
{
    m_data.embedderKind = kind;
    return *this;
}

LibraryData LibraryBuilder::build() const
{
    LibraryData data = m_data;
    if (m_unsorted) {
        // Numbered after the named topics, so its id stays the same however
        // late in the expression it was asked for.
        Topic rest{topicId(int(data.topics.size()) + 1), m_unsortedName, TopicPalette::unsorted(), {}, true};
        for (SavedTab &tab : data.tabs) {
            if (!tab.topicId) {
                tab.topicId = rest.id;
                rest.tabIds.append(tab.id);
            }
        }
        data.topics.append(rest);
    }
    return data;
}
