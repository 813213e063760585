#include "Summarizer.h"

#include <QJsonArray>

#include "AIEngine.h"
#include "AIStatus.h"
#include "TextCut.h"
#include "TextTools.h"

namespace {

constexpr qsizetype promptTextLimit = 2500;
constexpr qsizetype summaryLimit = 160;
constexpr qsizetype fallbackTextLimit = 3000;
constexpr qsizetype maxTags = 3;

bool isHorizontalSpace(QChar c)
{
    return c == QLatin1Char('\t') || (c.category() == QChar::Separator_Space);
}

// Blanks and tabs go, line breaks stay.
QString trimHorizontal(const QString &text)
{
    qsizetype start = 0;
    qsizetype end = text.size();
    while (start < end && isHorizontalSpace(text.at(start)))
        ++start;
    while (end > start && isHorizontalSpace(text.at(end - 1)))
        --end;
    return text.mid(start, end - start);
}

} // namespace

Summarizer::Summarizer(std::chrono::milliseconds limit) : m_limit(limit) {}

SummaryResult Summarizer::summarize(const QString &title, const QString &text, std::stop_token stop) const
{
    if (!AIStatus::forceOff() && !(title.isEmpty() && text.isEmpty()) && AIStatus::isAvailable()) {
        if (std::optional<SummaryResult> result = summarizeWithModel(title, text, stop))
            return *result;
    }
    return fallback(title, text);
}

std::optional<SummaryResult> Summarizer::summarizeWithModel(const QString &title, const QString &text,
                                                            std::stop_token stop) const
{
    const std::optional<QJsonObject> reply = AIEngine::generate(prompt(title, text), schema(), m_limit, stop);
    if (!reply)
        return std::nullopt;
    return fromReply(*reply);
}

QString Summarizer::prompt(const QString &title, const QString &text)
{
    const QString cut = TextCut::prefix(text, promptTextLimit);
    return QLatin1String("Fasse diese Webseite zusammen.\nTitel: ") + title + QLatin1String("\nText: ")
        + (cut.isEmpty() ? QStringLiteral("(kein Text, nur der Titel)") : cut);
}

const ModelSchema &Summarizer::schema()
{
    static const ModelSchema tabSummary{
        {{QStringLiteral("summary"), ModelSchema::Type::string,
          QStringLiteral("Genau ein deutscher Satz, höchstens 160 Zeichen: worum es auf der Seite geht."), -1, {}},
         {QStringLiteral("tags"), ModelSchema::Type::stringArray,
          QStringLiteral("Höchstens drei kurze Stichwörter zur Seite, je ein bis zwei Wörter."), int(maxTags), {}}}};
    return tabSummary;
}

std::optional<SummaryResult> Summarizer::fromReply(const QJsonObject &reply)
{
    if (!schema().accepts(reply))
        return std::nullopt;
    const QString summary = reply.value(QStringLiteral("summary")).toString().trimmed();
    if (summary.isEmpty())
        return std::nullopt;

    SummaryResult result;
    result.summary = TextTools::truncate(summary, summaryLimit);
    const QJsonArray tags = reply.value(QStringLiteral("tags")).toArray();
    for (qsizetype i = 0; i < std::min<qsizetype>(maxTags, tags.size()); ++i) {
        const QString tag = trimHorizontal(tags.at(i).toString());
        if (!tag.isEmpty())
            result.tags.append(tag);
    }
    result.byAI = true;
    return result;
}

SummaryResult Summarizer::fallback(const QString &title, const QString &text)
{
    SummaryResult result;
    if (std::optional<QString> sentence = TextTools::firstSentence(text, summaryLimit))
        result.summary = *sentence;
    else if (!title.isEmpty())
        result.summary = TextTools::truncate(title, summaryLimit);
    else
        result.summary = QStringLiteral("Ohne Inhalt gespeichert.");
    result.tags = TextTools::topKeywords({title, title, TextCut::prefix(text, fallbackTextLimit)}, 2, 4);
    result.byAI = false;
    return result;
}
