#pragma once

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <optional>

// Shared, stateless text functions: page text from HTML, entities, words and
// stems, keyword ranking, a fallback sentence and shortening with "…".
// Every length and cut counts user-perceived characters (via TextCut).
namespace TextTools {

struct Readable
{
    QString title;
    QString text;

    friend bool operator==(const Readable &, const Readable &) = default;
};

struct Keyword
{
    QString key;     // the stem
    QString display; // the spelling to show
    qsizetype count = 0; // number of input texts containing the stem

    friend bool operator==(const Keyword &, const Keyword &) = default;
};

// Title and plain text of an HTML page, the text cut to `limit` characters.
Readable readableText(const QString &html, qsizetype limit);

QString decodeEntities(const QString &text);

// Lower-cased words of two or more characters, in text order.
QStringList words(const QString &text, bool keepStopWords = false);

// The word itself below 7 characters, otherwise its first 6.
QString stem(const QString &word);

QList<Keyword> keywordCounts(const QStringList &texts, qsizetype minLength);
QStringList topKeywords(const QStringList &texts, qsizetype limit, qsizetype minLength);

std::optional<QString> firstSentence(const QString &text, qsizetype maxLength);

// At most `length` (>= 1) characters; a cut text ends in "…".
QString truncate(const QString &text, qsizetype length);

const QSet<QString> &stopWords();

} // namespace TextTools
