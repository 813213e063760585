#pragma once

#include "SavedTab.h"

#include <QAbstractListModel>
#include <QList>
#include <QVariantMap>

// Saved tabs as a list the views bind to; one row per tab.
class TabListModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        TabIdRole = Qt::UserRole + 1,
        UrlRole,
        TitleRole,
        DomainRole,
        SavedAtRole,
        SummaryRole,
        NoteRole,
        ReminderAtRole,
        TagsRole,
        ProjectTagsRole,
        IsReadRole,
        TopicIdRole,
        WindowIdRole,
        IsDemoRole,
    };
    Q_ENUM(Role)

    explicit TabListModel(QObject *parent = nullptr);

    const QList<SavedTab> &tabs() const { return m_tabs; }
    // Resets the rows only when the list differs.
    void setTabs(const QList<SavedTab> &tabs);
    int count() const { return int(m_tabs.size()); }

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // The tab's fields under the role names; absent dates are null.
    static QVariantMap toMap(const SavedTab &tab);
    Q_INVOKABLE QVariantMap get(int row) const;
    // Ids of all rows, for "open all".
    Q_INVOKABLE QStringList ids() const;

Q_SIGNALS:
    void countChanged();

private:
    static QHash<int, QByteArray> roleTable();

    QList<SavedTab> m_tabs;
};
