#include "Chat.h"

#include <QJsonArray>
#include <QSet>

#include "AIEngine.h"
#include "AIStatus.h"
#include "Embedder.h"
#include "Fmt.h"
#include "ModelConfig.h"
#include "PlatformWords.h"

namespace {

ChatCard cardFor(const SavedTab &tab, const QString &reason)
{
    return ChatCard{tab, reason};
}

QList<SavedTab> tabsOf(const QList<ChatCard> &cards)
{
    QList<SavedTab> tabs;
    tabs.reserve(cards.size());
    for (const ChatCard &card : cards)
        tabs.append(card.tab);
    return tabs;
}

} // namespace

Chat::Chat(std::shared_ptr<const Embedder> embedder, std::chrono::milliseconds limit)
    : m_index(std::move(embedder)), m_limit(limit)
{
}

ChatAnswer Chat::answer(const QString &question, const LibraryData &data, std::stop_token stop) const
{
    const QList<SavedTab> hits = m_index.search(question, data, hitLimit);
    if (hits.isEmpty())
        return ChatAnswer{nothingFoundText(), {}, {}, false};
    if (!AIStatus::forceOff() && !stop.stop_requested() && AIStatus::isAvailable()) {
        if (std::optional<ChatAnswer> byModel = answerWithModel(question, hits, stop))
            return *byModel;
    }
    return fallbackAnswer(hits);
}

std::optional<ChatAnswer> Chat::answerWithModel(const QString &question, const QList<SavedTab> &hits,
                                                std::stop_token stop) const
{
    const std::optional<QJsonObject> generated = AIEngine::generate(prompt(question, hits), schema(), m_limit, stop);
    if (!generated)
        return std::nullopt;
    const std::optional<ChatReply> reply = replyFrom(*generated);
    if (!reply)
        return std::nullopt;
    return fromReply(*reply, hits);
}

QString Chat::fallbackNote()
{
    return PlatformWords::chatFallbackNote(ModelConfig::current().modelName);
}

QString Chat::nothingFoundText()
{
    return QStringLiteral("Dazu habe ich in deinen gespeicherten Tabs nichts gefunden.");
}

ChatAnswer Chat::fallbackAnswer(const QList<SavedTab> &hits)
{
    ChatAnswer answer;
    for (qsizetype i = 0; i < std::min(hits.size(), cardLimit); ++i) {
        const SavedTab &tab = hits.at(i);
        answer.cards.append(cardFor(tab, tab.summary.isEmpty() ? tab.title : tab.summary));
    }
    const QString count = answer.cards.size() == 1
        ? QStringLiteral("Ein Tab passt")
        : QString::number(answer.cards.size()) + QStringLiteral(" Tabs passen");
    answer.text = count + QStringLiteral(" am besten zu deiner Frage. ") + fallbackNote();
    answer.tabs = tabsOf(answer.cards);
    answer.byAI = false;
    return answer;
}

QString Chat::hitLine(qsizetype number, const SavedTab &tab)
{
    QString line = QString::number(number) + QStringLiteral(". ") + tab.title + QStringLiteral(" (") + tab.domain
        + QStringLiteral(", gespeichert ") + Fmt::dayMonth(tab.savedAt);
    if (!tab.readAt)
        line += QStringLiteral(", nie gelesen");
    line += QStringLiteral("): ") + tab.summary;
    if (!tab.note.isEmpty())
        line += QStringLiteral(" Notiz: ") + tab.note;
    return line;
}

QString Chat::prompt(const QString &question, const QList<SavedTab> &hits)
{
    QStringList lines;
    for (qsizetype i = 0; i < std::min(hits.size(), hitLimit); ++i)
        lines.append(hitLine(i + 1, hits.at(i)));
    return QStringLiteral("Frage: ") + question + QStringLiteral("\nTreffer aus den gespeicherten Tabs:\n")
        + lines.join(QLatin1Char('\n'))
        + QStringLiteral("\nWähle die bis zu drei passendsten Treffer und sag je in einem Satz, warum.");
}

const ModelSchema &Chat::schema()
{
    using Type = ModelSchema::Type;
    static const ModelSchema reply{
        {{QStringLiteral("intro"), Type::string,
          QStringLiteral("Ein einleitender deutscher Satz als Antwort auf die Frage."), -1, {}},
         {QStringLiteral("picks"),
          Type::objectArray,
          QStringLiteral("Die bis zu drei passendsten Treffer."),
          int(cardLimit),
          {{QStringLiteral("number"), Type::integer, QStringLiteral("Nummer des Treffers aus der Liste (1 bis 8)."),
            -1, {}},
           {QStringLiteral("reason"), Type::string,
            QStringLiteral("Ein kurzer deutscher Satz, warum dieser Tab zur Frage passt."), -1, {}}}}}};
    return reply;
}

std::optional<ChatReply> Chat::replyFrom(const QJsonObject &reply)
{
    if (!schema().accepts(reply))
        return std::nullopt;
    ChatReply result;
    result.intro = reply.value(QStringLiteral("intro")).toString();
    const QJsonArray picks = reply.value(QStringLiteral("picks")).toArray();
    // The schema guides the model to three; extra picks are dropped.
    for (qsizetype i = 0; i < std::min<qsizetype>(picks.size(), cardLimit); ++i) {
        const QJsonObject pick = picks.at(i).toObject();
        result.picks.append(ChatPick{qint64(pick.value(QStringLiteral("number")).toDouble()),
                                     pick.value(QStringLiteral("reason")).toString()});
    }
    return result;
}

ChatAnswer Chat::fromReply(const ChatReply &reply, const QList<SavedTab> &hits)
{
    ChatAnswer answer;
    QSet<qint64> used;
    for (const ChatPick &pick : reply.picks) {
        if (pick.number < 1 || pick.number > hits.size() || used.contains(pick.number))
            continue;
        used.insert(pick.number);
        answer.cards.append(cardFor(hits.at(qsizetype(pick.number - 1)), pick.reason));
    }
    if (answer.cards.isEmpty()) {
        for (qsizetype i = 0; i < std::min(hits.size(), cardLimit); ++i)
            answer.cards.append(cardFor(hits.at(i), hits.at(i).summary));
    }
    answer.text = reply.intro;
    answer.tabs = tabsOf(answer.cards);
    answer.byAI = true;
    return answer;
}
