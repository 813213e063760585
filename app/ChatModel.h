#pragma once

#include "ChatMessage.h"

#include <QAbstractListModel>
#include <QList>

// The chat transcript as a list the chat window binds to; entries are only
// ever appended.
class ChatModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        MessageIdRole = Qt::UserRole + 1,
        IsUserRole,
        TextRole,
        ByAIRole,
        // A list of maps: the card tab's fields (TabListModel::toMap) plus "reason".
        CardsRole,
    };
    Q_ENUM(Role)

    explicit ChatModel(QObject *parent = nullptr);

    const QList<ChatMessage> &messages() const { return m_messages; }
    void append(const ChatMessage &message);
    int count() const { return int(m_messages.size()); }

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void countChanged();

private:
    QList<ChatMessage> m_messages;
};
