#include "ChatModel.h"

#include "TabListModel.h"

ChatModel::ChatModel(QObject *parent)
    : QAbstractListModel(parent)
{
}

void ChatModel::append(const ChatMessage &message)
{
    const int row = count();
    beginInsertRows(QModelIndex(), row, row);
    m_messages.append(message);
    endInsertRows();
    Q_EMIT countChanged();
}

int ChatModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant ChatModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const ChatMessage &message = m_messages.at(index.row());
    switch (role) {
    case MessageIdRole: return message.id.toString(QUuid::WithoutBraces);
    case IsUserRole: return message.role == ChatMessage::Role::user;
    case Qt::DisplayRole:
    case TextRole: return message.text;
    case ByAIRole: return message.byAI;
    case CardsRole: {
        QVariantList cards;
        for (const ChatCard &card : message.cards) {
            QVariantMap map = TabListModel::toMap(card.tab);
            map.insert(QStringLiteral("reason"), card.reason);
            cards.append(map);
        }
        return cards;
    }
    default: return {};
    }
}

QHash<int, QByteArray> ChatModel::roleNames() const
{
    return {{MessageIdRole, "messageId"}, {IsUserRole, "isUser"}, {TextRole, "text"},
            {ByAIRole, "byAI"},           {CardsRole, "cards"}};
}
