#pragma once

#include "LibraryData.h"
#include "SidebarSelection.h"

#include <QAbstractListModel>
#include <QList>
#include <QString>

// The rows of the library window's sidebar, section by section: topics,
// saved windows (newest first) and the four collections "Für später".
class SidebarModel : public QAbstractListModel
{
    Q_OBJECT

public:
    enum Role {
        KeyRole = Qt::UserRole + 1, // SidebarSelection::key()
        SectionRole,                // the section's heading
        LabelRole,
        IconRole,  // a symbol name or an emoji
        ColorRole, // TopicPalette key; topics only
        CountRole,
    };
    Q_ENUM(Role)

    struct Row
    {
        SidebarSelection selection;
        QString section;
        QString label;
        QString icon;
        QString color;
        int count = 0;
        friend bool operator==(const Row &, const Row &) = default;
    };

    explicit SidebarModel(QObject *parent = nullptr);

    static QList<Row> rowsFor(const LibraryData &data);
    const QList<Row> &rows() const { return m_rows; }
    void setData(const LibraryData &data);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    QList<Row> m_rows;
};
