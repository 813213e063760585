#include "TextTools.h"

#include <QChar>
#include <QHash>
#include <QTextBoundaryFinder>

#include <algorithm>
#include <array>

#include "TextCut.h"

namespace {

// Code point at `i`, joining a surrogate pair; `width` gets its code units.
char32_t codePointAt(const QString &text, qsizetype i, qsizetype *width = nullptr)
{
    const QChar c = text.at(i);
    if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate()) {
        if (width)
            *width = 2;
        return QChar::surrogateToUcs4(c, text.at(i + 1));
    }
    if (width)
        *width = 1;
    return c.unicode();
}

// Code points that never start a user-perceived character but cling to the
// one before; a word walk gives them the class of the character they extend.
bool isExtender(char32_t c)
{
    switch (QChar::category(c)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_SpacingCombining:
    case QChar::Mark_Enclosing:
        return true;
    default:
        break;
    }
    return c == 0x200D || (c >= 0x1F3FB && c <= 0x1F3FF);
}

// A regular expression's word character (letters, numbers, marks, connectors).
bool isRegexWord(const QString &text, qsizetype i)
{
    if (i >= text.size())
        return false;
    const char32_t c = codePointAt(text, i);
    return QChar::isLetterOrNumber(c) || QChar::category(c) == QChar::Punctuation_Connector
        || QChar::category(c) == QChar::Mark_NonSpacing;
}

// Splits text into tokens of letters and numbers (and hyphens when asked),
// following user-perceived characters.
QStringList tokens(const QString &text, bool hyphens)
{
    QStringList result;
    qsizetype start = -1;
    qsizetype i = 0;
    const qsizetype n = text.size();
    auto finish = [&](qsizetype end) {
        if (start >= 0)
            result.append(text.mid(start, end - start));
        start = -1;
    };
    while (i < n) {
        qsizetype width = 1;
        const char32_t c = codePointAt(text, i, &width);
        if (isExtender(c)) {
            // Belongs to the character before: keeps an open token open.
        } else if (QChar::isLetterOrNumber(c) || (hyphens && c == u'-')) {
            if (start < 0)
                start = i;
        } else {
            finish(i);
        }
        i += width;
    }
    finish(n);
    return result;
}

bool startsWithUpper(const QString &word)
{
    return !word.isEmpty() && QChar::isUpper(codePointAt(word, 0));
}

bool allNumbers(const QString &word)
{
    for (qsizetype i = 0; i < word.size();) {
        qsizetype width = 1;
        const char32_t c = codePointAt(word, i, &width);
        if (!QChar::isNumber(c) && !isExtender(c))
            return false;
        i += width;
    }
    return true;
}

// Keys sort by code point, which UTF-16 order gets wrong above the surrogates.
bool codePointLess(const QString &a, const QString &b)
{
    const qsizetype n = std::min(a.size(), b.size());
    for (qsizetype i = 0; i < n; ++i) {
        char16_t x = a.at(i).unicode();
        char16_t y = b.at(i).unicode();
        if (x == y)
            continue;
        auto fix = [](char16_t c) -> char16_t {
            if (c >= 0xE000)
                return char16_t(c - 0x800);
            if (c >= 0xD800)
                return char16_t(c + 0x2000);
            return c;
        };
        return fix(x) < fix(y);
    }
    return a.size() < b.size();
}

// --- Tag matchers -----------------------------------------------------------
// Hand-written equivalents of the patterns
//   <title[^>]*>([\s\S]*?)</title>      <!--[\s\S]*?-->
//   <NAME\b[^>]*>[\s\S]*?</NAME>        <NAME\b[^>]*>([\s\S]*)</NAME>
//   <(br|p|div|...)\b[^>]*>             <[^>]+>
// (case-insensitive). A backtracking engine retries every '<' of an unclosed
// tag up to the end of the page, which turns quadratic on broken markup;
// these stop as soon as no later match is possible.

// Position of `pattern` (ASCII, lower case, starting with '<') at or after
// `from`, ignoring ASCII case; -1 when absent. Seeking '<' first is far
// quicker than a general case-insensitive search.
qsizetype findTag(const QString &html, QLatin1StringView pattern, qsizetype from)
{
    const qsizetype n = html.size();
    const qsizetype m = pattern.size();
    const QChar *data = html.constData();
    qsizetype p = from;
    while (true) {
        p = html.indexOf(u'<', p);
        if (p < 0 || p + m > n)
            return -1;
        qsizetype k = 1;
        for (; k < m; ++k) {
            char16_t c = data[p + k].unicode();
            if (c >= u'A' && c <= u'Z')
                c = char16_t(c + 32);
            if (c != char16_t(pattern[k].unicode()))
                break;
        }
        if (k == m)
            return p;
        ++p;
    }
}

bool tagAt(const QString &html, QLatin1StringView pattern, qsizetype p)
{
    if (p < 0 || p + pattern.size() > html.size())
        return false;
    for (qsizetype k = 1; k < pattern.size(); ++k) {
        char16_t c = html.at(p + k).unicode();
        if (c >= u'A' && c <= u'Z')
            c = char16_t(c + 32);
        if (c != char16_t(pattern[k].unicode()))
            return false;
    }
    return true;
}

qsizetype findLastTag(const QString &html, QLatin1StringView pattern)
{
    qsizetype p = html.size() - 1;
    while (p >= 0) {
        p = html.lastIndexOf(u'<', p);
        if (p < 0 || tagAt(html, pattern, p))
            return p;
        --p;
    }
    return -1;
}

// End of `<name\b[^>]*>` starting at `at` (index after '>'), or -1 when the
// opening tag does not match there; `noMore` is set when no '>' follows.
qsizetype openTagEnd(const QString &html, qsizetype at, QLatin1StringView name, bool boundary,
                     bool *noMore)
{
    const qsizetype afterName = at + 1 + name.size();
    if (boundary && isRegexWord(html, afterName))
        return -1;
    const qsizetype gt = html.indexOf(u'>', afterName);
    if (gt < 0) {
        *noMore = true;
        return -1;
    }
    return gt + 1;
}

QString removeElements(const QString &html, QLatin1StringView name)
{
    const QByteArray openBytes = '<' + QByteArray(name.data(), name.size());
    const QByteArray closeBytes = "</" + QByteArray(name.data(), name.size()) + '>';
    const QLatin1StringView open(openBytes);
    const QLatin1StringView close(closeBytes);
    QString out;
    qsizetype copied = 0;
    qsizetype pos = 0;
    while (true) {
        const qsizetype i = findTag(html, open, pos);
        if (i < 0)
            break;
        bool noMore = false;
        const qsizetype bodyStart = openTagEnd(html, i, name, true, &noMore);
        if (noMore)
            break;
        if (bodyStart < 0) {
            pos = i + 1;
            continue;
        }
        const qsizetype c = findTag(html, close, bodyStart);
        if (c < 0)
            break; // no closer after this one, so none after any later opener
        out += QStringView(html).mid(copied, i - copied);
        out += u' ';
        copied = pos = c + close.size();
    }
    if (copied == 0)
        return html;
    out += QStringView(html).mid(copied);
    return out;
}

// Capture of the greedy `<name\b[^>]*>([\s\S]*)</name>`, if it matches.
std::optional<QString> outerContent(const QString &html, QLatin1StringView name)
{
    const QByteArray openBytes = '<' + QByteArray(name.data(), name.size());
    const QByteArray closeBytes = "</" + QByteArray(name.data(), name.size()) + '>';
    const QLatin1StringView open(openBytes);
    const QLatin1StringView close(closeBytes);
    qsizetype pos = 0;
    while (true) {
        const qsizetype i = findTag(html, open, pos);
        if (i < 0)
            return std::nullopt;
        bool noMore = false;
        const qsizetype bodyStart = openTagEnd(html, i, name, true, &noMore);
        if (noMore)
            return std::nullopt;
        if (bodyStart < 0) {
            pos = i + 1;
            continue;
        }
        const qsizetype c = findLastTag(html, close);
        if (c < bodyStart)
            return std::nullopt;
        return html.mid(bodyStart, c - bodyStart);
    }
}

QString findTitle(const QString &html)
{
    static constexpr QLatin1StringView name("title");
    qsizetype pos = 0;
    const qsizetype i = findTag(html, QLatin1StringView("<title"), pos);
    if (i < 0)
        return {};
    bool noMore = false;
    const qsizetype bodyStart = openTagEnd(html, i, name, false, &noMore);
    if (bodyStart < 0)
        return {};
    const qsizetype c = findTag(html, QLatin1StringView("</title>"), bodyStart);
    if (c < 0)
        return {};
    return html.mid(bodyStart, c - bodyStart);
}

QString removeComments(const QString &html)
{
    QString out;
    qsizetype copied = 0;
    while (true) {
        const qsizetype i = html.indexOf(u"<!--", copied);
        if (i < 0)
            break;
        const qsizetype end = html.indexOf(u"-->", i + 4);
        if (end < 0)
            break;
        out += QStringView(html).mid(copied, i - copied);
        out += u' ';
        copied = end + 3;
    }
    if (copied == 0)
        return html;
    out += QStringView(html).mid(copied);
    return out;
}

bool isBlockTag(QStringView name)
{
    static const std::array<QLatin1StringView, 14> names = {
        QLatin1StringView("br"), QLatin1StringView("p"), QLatin1StringView("div"),
        QLatin1StringView("li"), QLatin1StringView("h1"), QLatin1StringView("h2"),
        QLatin1StringView("h3"), QLatin1StringView("h4"), QLatin1StringView("h5"),
        QLatin1StringView("h6"), QLatin1StringView("tr"), QLatin1StringView("section"),
        QLatin1StringView("article"), QLatin1StringView("blockquote"),
    };
    return std::any_of(names.begin(), names.end(), [&](QLatin1StringView n) {
        return name.compare(n, Qt::CaseInsensitive) == 0;
    });
}

// `<(block tags)\b[^>]*>` becomes a newline.
QString breakBlocks(const QString &html)
{
    QString out;
    qsizetype copied = 0;
    qsizetype pos = 0;
    while (true) {
        const qsizetype i = html.indexOf(u'<', pos);
        if (i < 0)
            break;
        qsizetype j = i + 1;
        while (j < html.size() && isRegexWord(html, j))
            j += html.at(j).isHighSurrogate() ? 2 : 1;
        if (!isBlockTag(QStringView(html).mid(i + 1, j - i - 1))) {
            pos = i + 1;
            continue;
        }
        const qsizetype gt = html.indexOf(u'>', j);
        if (gt < 0)
            break;
        out += QStringView(html).mid(copied, i - copied);
        out += u'\n';
        copied = pos = gt + 1;
    }
    if (copied == 0)
        return html;
    out += QStringView(html).mid(copied);
    return out;
}

// `<[^>]+>` becomes a space.
QString removeTags(const QString &html)
{
    QString out;
    out.reserve(html.size());
    qsizetype copied = 0;
    qsizetype pos = 0;
    while (true) {
        const qsizetype i = html.indexOf(u'<', pos);
        if (i < 0)
            break;
        const qsizetype gt = html.indexOf(u'>', i + 1);
        if (gt < 0)
            break;
        if (gt == i + 1) {
            pos = i + 1;
            continue;
        }
        out += QStringView(html).mid(copied, i - copied);
        out += u' ';
        copied = pos = gt + 1;
    }
    out += QStringView(html).mid(copied);
    return out;
}

bool isLineBreak(char16_t c)
{
    return c == u'\n' || c == u'\r' || c == 0x0B || c == 0x0C || c == 0x85 || c == 0x2028
        || c == 0x2029;
}

QString tidyLines(const QString &text)
{
    QString out;
    out.reserve(text.size());
    QString line;
    auto flush = [&]() {
        if (TextCut::offsetOf(line, 1) < line.size()) { // more than one character
            if (!out.isEmpty())
                out += u'\n';
            out += line;
        }
        line.clear();
    };
    const QChar *data = text.constData();
    const qsizetype n = text.size();
    qsizetype i = 0;
    while (i < n) {
        const QChar c = data[i];
        if (isLineBreak(c.unicode())) {
            flush();
            ++i;
        } else if (c.isSpace()) {
            ++i;
        } else {
            qsizetype e = i + 1;
            while (e < n && !data[e].isSpace() && !isLineBreak(data[e].unicode()))
                ++e;
            if (!line.isEmpty())
                line += u' ';
            line += QStringView(data + i, e - i);
            i = e;
        }
    }
    flush();
    return out;
}

const QHash<QString, QString> &entityTable()
{
    static const QHash<QString, QString> table = {
        {QStringLiteral("amp"), QStringLiteral("&")},        {QStringLiteral("lt"), QStringLiteral("<")},          {QStringLiteral("gt"), QStringLiteral(">")},
        {QStringLiteral("quot"), QStringLiteral("\"")},      {QStringLiteral("apos"), QStringLiteral("'")},        {QStringLiteral("nbsp"), QStringLiteral(" ")},
        {QStringLiteral("auml"), QStringLiteral("\u00e4")},  {QStringLiteral("ouml"), QStringLiteral("\u00f6")},   {QStringLiteral("uuml"), QStringLiteral("\u00fc")},
        {QStringLiteral("Auml"), QStringLiteral("\u00c4")},  {QStringLiteral("Ouml"), QStringLiteral("\u00d6")},   {QStringLiteral("Uuml"), QStringLiteral("\u00dc")},
        {QStringLiteral("szlig"), QStringLiteral("ss")},     {QStringLiteral("eacute"), QStringLiteral("\u00e9")}, {QStringLiteral("egrave"), QStringLiteral("\u00e8")},
        {QStringLiteral("agrave"), QStringLiteral("\u00e0")}, {QStringLiteral("ndash"), QStringLiteral("\u2013")}, {QStringLiteral("mdash"), QStringLiteral("\u2014")},
        {QStringLiteral("hellip"), QStringLiteral("\u2026")}, {QStringLiteral("laquo"), QStringLiteral("\u00ab")}, {QStringLiteral("raquo"), QStringLiteral("\u00bb")},
        {QStringLiteral("rsquo"), QStringLiteral("\u2019")}, {QStringLiteral("lsquo"), QStringLiteral("\u2018")},  {QStringLiteral("rdquo"), QStringLiteral("\u201d")},
        {QStringLiteral("ldquo"), QStringLiteral("\u201c")}, {QStringLiteral("euro"), QStringLiteral("\u20ac")},   {QStringLiteral("copy"), QStringLiteral("\u00a9")},
        {QStringLiteral("reg"), QStringLiteral("\u00ae")},   {QStringLiteral("middot"), QStringLiteral("\u00b7")}, {QStringLiteral("bull"), QStringLiteral("\u2022")},
    };
    return table;
}

// The code point a numeric entity name ("#228", "#xE4") stands for.
std::optional<char32_t> numericEntity(QStringView name)
{
    int base = 10;
    QStringView digits = name.mid(1);
    if (digits.startsWith(u'x') || digits.startsWith(u'X')) {
        base = 16;
        digits = digits.mid(1);
    }
    if (digits.isEmpty())
        return std::nullopt;
    quint64 value = 0;
    for (const QChar c : digits) {
        const char16_t u = c.unicode();
        int d = -1;
        if (u >= u'0' && u <= u'9')
            d = u - u'0';
        else if (base == 16 && u >= u'a' && u <= u'f')
            d = u - u'a' + 10;
        else if (base == 16 && u >= u'A' && u <= u'F')
            d = u - u'A' + 10;
        if (d < 0)
            return std::nullopt;
        value = value * base + quint64(d);
        if (value > 0xFFFFFFFFull)
            return std::nullopt;
    }
    if (value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF))
        return std::nullopt;
    return char32_t(value);
}

} // namespace

namespace TextTools {

Readable readableText(const QString &html, qsizetype limit)
{
    Readable result;
    result.title = decodeEntities(findTitle(html)).trimmed();

    QString work = removeComments(html);
    static constexpr std::array<QLatin1StringView, 13> unwanted = {
        QLatin1StringView("script"), QLatin1StringView("style"),  QLatin1StringView("noscript"),
        QLatin1StringView("svg"),    QLatin1StringView("nav"),    QLatin1StringView("header"),
        QLatin1StringView("footer"), QLatin1StringView("aside"),  QLatin1StringView("form"),
        QLatin1StringView("iframe"), QLatin1StringView("template"), QLatin1StringView("button"),
        QLatin1StringView("select"),
    };
    // Removing an element leaves a space, so no new "<name" can arise: a name
    // that no tag starts with now can be skipped.
    std::array<QByteArray, unwanted.size()> openers;
    for (size_t k = 0; k < unwanted.size(); ++k)
        openers[k] = '<' + QByteArray(unwanted[k].data(), unwanted[k].size());
    std::array<bool, unwanted.size()> present{};
    for (qsizetype p = work.indexOf(u'<'); p >= 0; p = work.indexOf(u'<', p + 1)) {
        for (size_t k = 0; k < unwanted.size(); ++k) {
            if (!present[k])
                present[k] = tagAt(work, QLatin1StringView(openers[k]), p);
        }
    }
    for (size_t k = 0; k < unwanted.size(); ++k) {
        if (present[k])
            work = removeElements(work, unwanted[k]);
    }

    for (QLatin1StringView name : {QLatin1StringView("article"), QLatin1StringView("main")}) {
        const std::optional<QString> content = outerContent(work, name);
        // More than 400 characters: the prefix of 400 is shorter than the whole.
        if (content && TextCut::offsetOf(*content, 400) < content->size()) {
            work = *content;
            break;
        }
    }

    work = breakBlocks(work);
    work = removeTags(work);
    work = decodeEntities(work);
    work = tidyLines(work);
    // Never more characters than code units: a short text needs no counting.
    result.text = work.size() <= limit ? work : TextCut::prefix(work, limit);
    return result;
}

QString decodeEntities(const QString &text)
{
    if (!text.contains(u'&'))
        return text;
    const auto &table = entityTable();
    QString out;
    out.reserve(text.size());
    const qsizetype n = text.size();
    qsizetype i = 0;
    while (i < n) {
        const qsizetype amp = text.indexOf(u'&', i);
        if (amp < 0) {
            out += QStringView(text).mid(i);
            break;
        }
        out += QStringView(text).mid(i, amp - i);
        i = amp;
        // The window is 12 characters from the '&'; a short slice answers
        // unless its characters run right to the slice's end.
        QString slice = text.mid(amp, 64);
        qsizetype windowEnd = TextCut::offsetOf(slice, 12);
        if (windowEnd == slice.size() && amp + slice.size() < n) {
            slice = text.mid(amp);
            windowEnd = TextCut::offsetOf(slice, 12);
        }
        // An '&' carrying a combining mark is another character altogether.
        if (TextCut::offsetOf(slice, 1) != 1) {
            const qsizetype width = TextCut::offsetOf(slice, 1);
            out += QStringView(text).mid(amp, width);
            i = amp + width;
            continue;
        }
        const qsizetype semi = QStringView(slice).left(windowEnd).indexOf(u';', 1);
        if (semi < 0) {
            out += u'&';
            i = amp + 1;
            continue;
        }
        const QStringView name = QStringView(slice).mid(1, semi - 1);
        if (name.startsWith(u'#')) {
            if (const auto cp = numericEntity(name)) {
                out += QString::fromUcs4(&*cp, 1);
                i = amp + semi + 1;
            } else {
                out += u'&';
                i = amp + 1;
            }
            continue;
        }
        const auto found = table.constFind(name.toString());
        if (found != table.constEnd()) {
            out += *found;
            i = amp + semi + 1;
        } else {
            out += u'&';
            i = amp + 1;
        }
    }
    return out;
}

QStringList words(const QString &text, bool keepStopWords)
{
    const QStringList all = tokens(text.toLower(), false);
    QStringList result;
    result.reserve(all.size());
    const auto &stops = stopWords();
    for (const QString &word : all) {
        if (TextCut::offsetOf(word, 1) >= word.size())
            continue; // a single character is never a word
        if (!keepStopWords && stops.contains(word))
            continue;
        result.append(word);
    }
    return result;
}

QString stem(const QString &word)
{
    // Seven or more characters keep six; anything shorter stays whole.
    return TextCut::prefix(word, 6);
}

namespace {

struct Counted
{
    QHash<QString, qsizetype> counts;
    QHash<QString, QString> displays;
};

template <typename ChooseDisplay>
Counted countStems(const QStringList &texts, qsizetype minLength, ChooseDisplay choose)
{
    Counted result;
    const auto &stops = stopWords();
    for (const QString &text : texts) {
        QSet<QString> seen;
        for (QString token : tokens(text, true)) {
            qsizetype from = 0;
            qsizetype to = token.size();
            while (from < to && token.at(from) == u'-')
                ++from;
            while (to > from && token.at(to - 1) == u'-')
                --to;
            if (from == to)
                continue;
            token = token.mid(from, to - from);
            const QString lower = token.toLower();
            if (TextCut::length(lower) < minLength || stops.contains(lower) || allNumbers(lower))
                continue;
            const QString key = stem(lower);
            if (!seen.contains(key)) {
                seen.insert(key);
                ++result.counts[key];
            }
            auto display = result.displays.find(key);
            if (display == result.displays.end())
                result.displays.insert(key, token);
            else if (choose(token, *display))
                *display = token;
        }
    }
    return result;
}

QList<QString> sortedKeys(const QHash<QString, qsizetype> &counts)
{
    QList<QString> keys = counts.keys();
    std::sort(keys.begin(), keys.end(), [&](const QString &a, const QString &b) {
        const qsizetype ca = counts.value(a);
        const qsizetype cb = counts.value(b);
        if (ca != cb)
            return ca > cb;
        return codePointLess(a, b);
    });
    return keys;
}

} // namespace

QList<Keyword> keywordCounts(const QStringList &texts, qsizetype minLength)
{
    const Counted counted = countStems(texts, minLength, [](const QString &token, const QString &current) {
        if (!startsWithUpper(token))
            return false;
        return !startsWithUpper(current) || TextCut::length(token) < TextCut::length(current);
    });
    QList<Keyword> result;
    for (const QString &key : sortedKeys(counted.counts))
        result.append({key, counted.displays.value(key, key), counted.counts.value(key)});
    return result;
}

QStringList topKeywords(const QStringList &texts, qsizetype limit, qsizetype minLength)
{
    const Counted counted = countStems(texts, minLength, [](const QString &token, const QString &current) {
        return startsWithUpper(token) && !startsWithUpper(current);
    });
    QStringList result;
    for (const QString &key : sortedKeys(counted.counts)) {
        if (result.size() >= limit)
            break;
        result.append(counted.displays.value(key, key));
    }
    return result;
}

std::optional<QString> firstSentence(const QString &text, qsizetype maxLength)
{
    QString flat = text;
    flat.replace(u'\n', u' ');
    QStringList sentences;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Sentence, flat);
    qsizetype start = 0;
    while (sentences.size() < 41) {
        const qsizetype end = finder.toNextBoundary();
        if (end < 0)
            break;
        const QString sentence = flat.mid(start, end - start).trimmed();
        start = end;
        if (!sentence.isEmpty())
            sentences.append(sentence);
    }
    static const QLatin1StringView excluded[] = {
        QLatin1StringView("cookie"),  QLatin1StringView("javascript"), QLatin1StringView("anmelden"),
        QLatin1StringView("sign in"), QLatin1StringView("log in"),     QLatin1StringView("newsletter"),
        QLatin1StringView("akzeptieren"),
    };
    for (const QString &sentence : std::as_const(sentences)) {
        if (TextCut::length(sentence) < 40)
            continue;
        if (sentence.split(u' ', Qt::SkipEmptyParts).size() < 6)
            continue;
        const QString lower = sentence.toLower();
        if (std::any_of(std::begin(excluded), std::end(excluded),
                        [&](QLatin1StringView s) { return lower.contains(s); }))
            continue;
        return truncate(sentence, maxLength);
    }
    return std::nullopt;
}

QString truncate(const QString &text, qsizetype length)
{
    Q_ASSERT(length >= 1);
    if (TextCut::length(text) <= length)
        return text;
    QString cut = TextCut::prefix(text, length - 1);
    const qsizetype space = cut.lastIndexOf(u' ');
    if (space >= 0 && TextCut::length(cut.left(space)) > length / 2)
        cut.truncate(space);
    return cut + u'\u2026';
}

const QSet<QString> &stopWords()
{
    static const QSet<QString> set = [] {
        const QString list = QStringLiteral(
            "der die das den dem des ein eine einer eines einem einen und oder aber mit von vom "
            "zu zum zur auf aus bei f\u00fcr fur ist sind war wird werden im in an am als auch "
            "nicht noch nur wie was wer wo so es er sie wir ihr du ich man sich hat haben kann "
            "k\u00f6nnen mehr \u00fcber uber unter nach vor bis ab je pro dass wenn dann alle "
            "alles ohne beim ins einen diese dieser dieses mein meine dein deine unser unsere "
            "euer gibt neue neuen neu the a an and or of to for in on with is are was be by at "
            "it this that from as how what why you your we our my do did which vs www com de ch "
            "org net io html https http seite page home start zusammenfassung gespeichert habe "
            "zu etwas gespeicherten tabs tab bereich sollte sollten anschauen meinen mir mich "
            "welche welcher zeige finde gespeichertes frage fragen eigentlich bitte kannst "
            "k\u00f6nnte worum geht dar\u00fcber dazu");
        const QStringList entries = list.split(u' ');
        return QSet<QString>(entries.begin(), entries.end());
    }();
    return set;
}

} // namespace TextTools
