#include "SidebarModel.h"

#include <algorithm>

SidebarModel::SidebarModel(QObject *parent)
    : QAbstractListModel(parent)
{
}

QList<SidebarModel::Row> SidebarModel::rowsFor(const LibraryData &data)
{
    QList<Row> rows;
    const QString topicSection = data.topicsByAI ? QStringLiteral("Nach Thema (KI)") : QStringLiteral("Nach Thema");
    for (const Topic &topic : data.topics)
        rows.append({SidebarSelection::topic(topic.id), topicSection, topic.name, QStringLiteral("topic"),
                     topic.color, int(topic.tabIds.size())});

    QList<SavedWindow> windows = data.windows;
    std::stable_sort(windows.begin(), windows.end(), [](const SavedWindow &a, const SavedWindow &b) {
        if (a.savedAt != b.savedAt)
            return a.savedAt > b.savedAt;
        return QString::localeAwareCompare(a.title, b.title) < 0;
    });
    const QString windowSection = QStringLiteral("Nach Fenster (wie es war)");
    for (const SavedWindow &window : windows)
        rows.append({SidebarSelection::window(window.id), windowSection, window.title, QStringLiteral("macwindow"),
                     QString(), int(window.tabIds.size())});

    int reminders = 0;
    int notes = 0;
    for (const SavedTab &tab : data.tabs) {
        reminders += tab.reminderAt ? 1 : 0;
        notes += tab.note.isEmpty() ? 0 : 1;
    }
    const QString later = QStringLiteral("Für später");
    rows.append({SidebarSelection::reminders(), later, QStringLiteral("Erinnerungen"), QStringLiteral("⏰"), {},
                 reminders});
    rows.append({SidebarSelection::notes(), later, QStringLiteral("Mit Notiz"), QStringLiteral("📝"), {}, notes});
    rows.append({SidebarSelection::hints(), later, QStringLiteral("Hinweise zu Projekten"), QStringLiteral("💡"), {},
                 int(data.openHints().size())});
    rows.append({SidebarSelection::all(), later, QStringLiteral("Alle Tabs"), QStringLiteral("tray.full"), {},
                 int(data.tabs.size())});
    return rows;
}

void SidebarModel::setData(const LibraryData &data)
{
    QList<Row> rows = rowsFor(data);
    if (rows == m_rows)
        return;
    // Same shape: only the labels or counts moved, so the views keep their place.
    const bool sameShape = rows.size() == m_rows.size()
        && std::equal(rows.cbegin(), rows.cend(), m_rows.cbegin(),
                      [](const Row &a, const Row &b) { return a.selection == b.selection; });
    if (sameShape && !rows.isEmpty()) {
        m_rows = std::move(rows);
        Q_EMIT dataChanged(index(0), index(int(m_rows.size()) - 1));
        return;
    }
    beginResetModel();
    m_rows = std::move(rows);
    endResetModel();
}

int SidebarModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant SidebarModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Row &row = m_rows.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
    case LabelRole: return row.label;
    case KeyRole: return row.selection.key();
    case SectionRole: return row.section;
    case IconRole: return row.icon;
    case ColorRole: return row.color;
    case CountRole: return row.count;
    default: return {};
    }
}

QHash<int, QByteArray> SidebarModel::roleNames() const
{
    return {{KeyRole, "key"},   {SectionRole, "section"}, {LabelRole, "label"},
            {IconRole, "icon"}, {ColorRole, "color"},     {CountRole, "count"}};
}
