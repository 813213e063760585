#include "LibraryPresenter.h"

#include "AppModel.h"
#include "Clock.h"
#include "Fmt.h"
#include "Library.h"
#include "LibraryText.h"
#include "TabListModel.h"

LibraryPresenter::LibraryPresenter(QObject *parent) : QObject(parent)
{
    m_minute.setInterval(60 * 1000);
    connect(&m_minute, &QTimer::timeout, this, &LibraryPresenter::bump);
    m_minute.start();
}

void LibraryPresenter::setModel(AppModel *model)
{
    if (model == m_model)
        return;
    if (m_model)
        disconnect(m_model, nullptr, this, nullptr);
    m_model = model;
    if (m_model) {
        connect(m_model, &AppModel::libraryChanged, this, &LibraryPresenter::bump);
        connect(m_model, &AppModel::selectionChanged, this, &LibraryPresenter::bump);
        connect(m_model, &AppModel::queryChanged, this, &LibraryPresenter::bump);
        connect(m_model, &AppModel::searchResultsChanged, this, &LibraryPresenter::bump);
        connect(m_model->visibleTabsModel(), &QAbstractItemModel::modelReset, this, &LibraryPresenter::bump);
    }
    Q_EMIT modelChanged();
    bump();
}

void LibraryPresenter::bump()
{
    ++m_revision;
    Q_EMIT textsChanged();
    Q_EMIT revisionChanged();
}

QString LibraryPresenter::title() const
{
    if (!m_model)
        return {};
    return LibraryText::title(m_model->library().data(), m_model->selection(), m_model->query());
}

QString LibraryPresenter::subtitle() const
{
    if (!m_model)
        return {};
    return LibraryText::subtitle(m_model->library().data(), m_model->selection(), m_model->query(),
                                 m_model->visibleTabsModel()->tabs());
}

QString LibraryPresenter::emptyText() const
{
    return LibraryText::emptyListText(m_model ? m_model->query() : QString());
}

QString LibraryPresenter::reopenText() const
{
    return LibraryText::reopenAllText(m_model ? m_model->visibleTabsModel()->count() : 0);
}

bool LibraryPresenter::hasDemoTabs() const
{
    return m_model && LibraryText::hasDemoTabs(m_model->library().data());
}

QVariantMap LibraryPresenter::rowInfo(const QString &tabId) const
{
    QVariantMap info;
    if (!m_model)
        return info;
    const auto tab = m_model->library().data().tab(QUuid(tabId));
    if (!tab)
        return info;
    info.insert(QStringLiteral("dateLine"), LibraryText::dateLine(*tab));
    if (tab->reminderAt) {
        info.insert(QStringLiteral("reminderText"), Fmt::weekdayDayMonth(*tab->reminderAt));
        info.insert(QStringLiteral("reminderDue"), LibraryText::isDue(*tab->reminderAt, m_model->clock().now()));
    }
    const auto hint = m_model->hintFor(*tab);
    info.insert(QStringLiteral("hasHint"), hint.has_value());
    if (hint && m_model->selection().kind == SidebarSelection::Kind::hints)
        info.insert(QStringLiteral("hintReason"), hint->reason);
    return info;
}

void LibraryPresenter::select(const QString &selectionKey)
{
    if (!m_model)
        return;
    m_model->setQuery(QString());
    m_model->setSelectionKey(selectionKey);
}

QString LibraryPresenter::number(int value)
{
    return Fmt::number(value);
}
