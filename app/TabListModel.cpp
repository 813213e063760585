#include "TabListModel.h"

#include "LibraryData.h"

namespace {

QVariant optionalDate(const std::optional<QDateTime> &date)
{
    return date ? QVariant(*date) : QVariant();
}

QVariant roleValue(const SavedTab &tab, int role)
{
    switch (role) {
    case TabListModel::TabIdRole: return idText(tab.id);
    case TabListModel::UrlRole: return tab.url;
    case TabListModel::TitleRole: return tab.title;
    case TabListModel::DomainRole: return tab.domain;
    case TabListModel::SavedAtRole: return tab.savedAt;
    case TabListModel::SummaryRole: return tab.summary;
    case TabListModel::NoteRole: return tab.note;
    case TabListModel::ReminderAtRole: return optionalDate(tab.reminderAt);
    case TabListModel::TagsRole: return tab.tags;
    case TabListModel::ProjectTagsRole: return tab.projectTags;
    case TabListModel::IsReadRole: return tab.isRead();
    case TabListModel::TopicIdRole: return tab.topicId ? QVariant(idText(*tab.topicId)) : QVariant();
    case TabListModel::WindowIdRole: return idText(tab.windowId);
    case TabListModel::IsDemoRole: return tab.isDemo;
    default: return {};
    }
}

} // namespace

TabListModel::TabListModel(QObject *parent)
    : QAbstractListModel(parent)
{
}

void TabListModel::setTabs(const QList<SavedTab> &tabs)
{
    if (tabs == m_tabs)
        return;
    const bool countChanges = tabs.size() != m_tabs.size();
    beginResetModel();
    m_tabs = tabs;
    endResetModel();
    if (countChanges)
        Q_EMIT countChanged();
}

int TabListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant TabListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const SavedTab &tab = m_tabs.at(index.row());
    if (role == Qt::DisplayRole)
        return tab.title;
    return roleValue(tab, role);
}

QHash<int, QByteArray> TabListModel::roleNames() const
{
    return roleTable();
}

QHash<int, QByteArray> TabListModel::roleTable()
{
    return {
        {TabIdRole, "tabId"},         {UrlRole, "url"},
        {TitleRole, "title"},         {DomainRole, "domain"},
        {SavedAtRole, "savedAt"},     {SummaryRole, "summary"},
        {NoteRole, "note"},           {ReminderAtRole, "reminderAt"},
        {TagsRole, "tags"},           {ProjectTagsRole, "projectTags"},
        {IsReadRole, "isRead"},       {TopicIdRole, "topicId"},
        {WindowIdRole, "windowId"},   {IsDemoRole, "isDemo"},
    };
}

QVariantMap TabListModel::toMap(const SavedTab &tab)
{
    QVariantMap map;
    const QHash<int, QByteArray> roles = roleTable();
    for (auto it = roles.cbegin(); it != roles.cend(); ++it)
        map.insert(QString::fromLatin1(it.value()), roleValue(tab, it.key()));
    return map;
}

QVariantMap TabListModel::get(int row) const
{
    if (row < 0 || row >= count())
        return {};
    return toMap(m_tabs.at(row));
}

QStringList TabListModel::ids() const
{
    QStringList out;
    out.reserve(m_tabs.size());
    for (const SavedTab &tab : m_tabs)
        out << idText(tab.id);
    return out;
}
