#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

#include <chrono>
#include <memory>
#include <optional>
#include <stop_token>

#include "ChatAnswer.h"
#include "ChatReply.h"
#include "LibraryData.h"
#include "ModelSchema.h"
#include "SearchIndex.h"

class Embedder;

// Answers a question about the saved tabs: the search finds the best eight,
// the model picks up to three with a reason each; without the model the
// best three hits stand with their summaries. Synchronous, any thread.
class Chat
{
public:
    static constexpr std::chrono::milliseconds defaultLimit = std::chrono::seconds(45);
    static constexpr qsizetype hitLimit = 8;
    static constexpr qsizetype cardLimit = 3;

    explicit Chat(std::shared_ptr<const Embedder> embedder, std::chrono::milliseconds limit = defaultLimit);

    const SearchIndex &index() const { return m_index; }

    // `question` is already trimmed. Never fails.
    ChatAnswer answer(const QString &question, const LibraryData &data, std::stop_token stop = {}) const;
    // Absent when the model fails or is too slow; `hits` best first.
    std::optional<ChatAnswer> answerWithModel(const QString &question, const QList<SavedTab> &hits,
                                              std::stop_token stop = {}) const;

    static QString fallbackNote();
    static QString nothingFoundText();
    static ChatAnswer fallbackAnswer(const QList<SavedTab> &hits);

    // Number `number` (from 1) of the list shown to the model.
    static QString hitLine(qsizetype number, const SavedTab &tab);
    static QString prompt(const QString &question, const QList<SavedTab> &hits);
    static const ModelSchema &schema();
    // The model's record, absent when it does not fit the schema.
    static std::optional<ChatReply> replyFrom(const QJsonObject &reply);
    // Cards from valid, distinct picks; the first hits when none is left.
    static ChatAnswer fromReply(const ChatReply &reply, const QList<SavedTab> &hits);

private:
    SearchIndex m_index;
    std::chrono::milliseconds m_limit;
};
